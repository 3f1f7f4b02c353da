// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

/// "localFirewall": passes when the application firewall is on. It takes no parameters.
class VELFirewallCheck final : public VELPostureCheckItem {
public:
    explicit VELFirewallCheck(std::shared_ptr<const VELPlatform> platform);

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

    /// Whether the firewall is on: asks the firewall's tool, and its stored preference when the
    /// tool gives no state. Error code 0 when there is neither. The error of a tool that failed
    /// (code 2 or 3) is left standing, also beside an answer from the preference.
    bool isMacFirewallEnabledError(std::optional<VELError>* error) const;

    /// The state in what the tool printed: the number of the first "State = " that one follows,
    /// saturated at the limits of 32 bits. Decimal digits of every script make a number there, but
    /// its value counts ASCII digits alone, up to the first other one. Absent: no such number.
    static std::optional<std::int64_t> stateInOutput(std::string_view output);

private:
    std::shared_ptr<const VELPlatform> _platform;
};
