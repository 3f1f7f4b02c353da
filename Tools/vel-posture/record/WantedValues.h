// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <set>
#include <span>
#include <string>
#include <vector>

/// What requests ask of a machine by name.
struct WantedValues {
    bool serialNumber = false;
    bool deviceID = false;
    /// Names of processes.
    std::set<std::string> processes;
    /// Those of them whose signers are asked for.
    std::set<std::string> signedProcesses;
    /// Fingerprints of certificates, as the check compares them.
    std::set<std::string> fingerprints;
    /// Entries that ask for identities.
    std::vector<VELValue> identityEntries;
};

/// What malformed parts of the requests ask for is left out: no check gets there.
WantedValues wantedValues(std::span<const VELValue> requests);
