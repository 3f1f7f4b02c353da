// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/explain/Evidence.h"
#include "vel_device_trust/VELValue.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

/// One request and what the library answered.
struct RequestRun {
    /// What reports call the request: its path, "standard input", or "identity".
    std::string name;
    /// Byte for byte.
    std::string document;
    /// Null if the document cannot be read.
    VELValue request;
    /// When the run started.
    std::chrono::system_clock::time_point time;
    /// Byte for byte as the library returned it.
    std::string resultDocument;
    VELValue result;
    /// Why each of the result's checks has its outcome, if that was asked for.
    std::vector<Evidence> evidence;
};

/// A time in UTC with milliseconds: "2026-11-21T22:05:00.123Z".
std::string timeText(std::chrono::system_clock::time_point time);

/// The name of this machine in the network.
std::string hostName();

/// A random identifier of a run: 32 hexadecimal digits.
std::string newRunIdentifier();
