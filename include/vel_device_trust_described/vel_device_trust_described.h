// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Described Macs, for a host's tests. The library vel_device_trust_described is all of
/// vel_device_trust and this function: link a test with it in place of vel_device_trust.

#include "vel_device_trust/vel_device_trust.h"

#include <memory>
#include <string>
#include <string_view>

/// A new runner as of `VELPostureCheckRunner::macPostureCheckRunner`, for the Mac that a machine
/// description describes: requests need no rights, run no tool and ask nothing of this machine.
/// Time is the described Mac's own, so a tool that hangs costs no time, and results are the same on
/// every run.
///
/// - `description`: a JSON object in UTF-8; see the schema machine-description.
/// - `logger`: becomes the logger of the whole process; null switches logging off.
/// - `error`: may be null. Receives what is wrong with the description, and where.
///
/// Null if the description is wrong; the logger then stays as it was. Throws `std::bad_alloc` only.
/// Thread-safe.
[[nodiscard]] VEL_EXPORT std::unique_ptr<VELPostureCheckRunner>
describedMacPostureCheckRunner(std::string_view description, std::shared_ptr<VELHostLogger> logger,
                               std::string* error);
