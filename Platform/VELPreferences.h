// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <cstdint>
#include <optional>
#include <string_view>

/// Whose preferences are asked. Both mean: on this host.
enum class VELPreferencesScope { anyUser, currentUser };

/// The preferences of applications, each known by its application ID ("com.example.product").
class VELPreferences {
public:
    /// An integer, and whether there is one.
    struct IntegerValue {
        std::int64_t value; ///< 0 when not found
        bool found;         ///< whether the store has an integer
    };

    virtual ~VELPreferences() = default;

    /// The value stored under `key`, of whatever type. Absent: no such application, no such key, or
    /// a store that cannot be read. Nothing but the scope asked is looked at.
    [[nodiscard]] virtual std::optional<VELValue> copyValue(std::string_view key,
                                                            std::string_view applicationID,
                                                            VELPreferencesScope scope) const = 0;

    /// The integer that the platform finds for the application under `key`, through whichever
    /// scopes it trusts. Not found: as above, or a value of another type (booleans and fractions
    /// are no integer, nor is a text, except on a Mac: see `VELApplePreferences`).
    [[nodiscard]] virtual IntegerValue appIntegerValue(std::string_view key,
                                                       std::string_view applicationID) const = 0;

protected:
    /// What a stored value (null pointer: none) is as an integer. An integer that 64 signed bits do
    /// not hold is not found.
    static IntegerValue integerValue(const VELValue* value);
};
