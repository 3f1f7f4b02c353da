// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/lint/Finding.h"
#include "vel_device_trust/VELValue.h"

#include <string>
#include <string_view>
#include <vector>

/// The keys of an object against those that are read; keys "x-..." are the author's own. A key that
/// is missing and one that is near to it are one finding. The object outlives this.
class KeyLint {
public:
    KeyLint(const VELValue& object, Place place, std::vector<std::string> known,
            FindingList& findings);

    /// Returns whether `key` is present. Reports a missing key with the consequence ("the entry is
    /// an error"), and with `advice` unless a similar key is present instead.
    bool require(const std::string& key, const std::string& consequence, const std::string& advice);

    /// The keys that are not known and not reported yet, in order. The caller reports them.
    std::vector<std::string> takeUnknown();

    /// Reports keys as not read, each with the known key that is near to it, else with `advice`.
    void reportUnread(const std::vector<std::string>& keys, const std::string& advice);

private:
    const VELValue& _object;
    Place _place;
    std::vector<std::string> _known;
    std::vector<std::string> _unknown;
    FindingList& _findings;
};
