// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPreferences.h"

/// The preferences of this Mac, through CFPreferences. An unreadable store and a refusal look as if
/// there were no value.
class VELApplePreferences final : public VELPreferences {
public:
    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                    std::string_view applicationID,
                                                    VELPreferencesScope scope) const override;

    /// Found too: a text that is wholly an integer, which saturates at 32 bits ("1099511627776" is
    /// 2147483647). The user's own settings are searched before those of the machine.
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                               std::string_view applicationID) const override;
};
