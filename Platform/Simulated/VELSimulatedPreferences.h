// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPreferences.h"

#include <atomic>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

/// Preferences in plain data, and how often they were asked.
class VELSimulatedPreferences final : public VELPreferences {
public:
    /// Application ID to key to value.
    using Store = std::map<std::string, std::map<std::string, VELValue, std::less<>>, std::less<>>;

    Store machine;
    Store user;
    /// What `appIntegerValue` answers, whatever the stores hold: an integer of 64 bits, or null for
    /// not found.
    Store integers;

    mutable std::atomic<unsigned> copyValueCalls = 0;
    mutable std::atomic<unsigned> appIntegerValueCalls = 0;

    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                    std::string_view applicationID,
                                                    VELPreferencesScope scope) const override;

    /// Looks in the integers first, then for the user, then machine-wide.
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                               std::string_view applicationID) const override;
};
