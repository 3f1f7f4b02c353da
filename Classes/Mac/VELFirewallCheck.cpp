// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFirewallCheck.h"

#include "Base/VELText.h"
#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Shared/VELDTLogger.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <algorithm>
#include <limits>
#include <string>
#include <utility>

namespace {

constexpr const char* firewallTool = "/usr/libexec/ApplicationFirewall/socketfilterfw";
constexpr const char* preferencesApplicationID = "com.apple.alf";
constexpr const char* stateKey = "globalstate";
constexpr std::string_view stateLabel = "State = ";

bool startsWithDecimalDigit(std::string_view text) {
    // No character takes more than four bytes.
    const std::u32string start = vel::characters(text.substr(0, 4));
    return !start.empty() && vel::isDecimalDigit(start.front());
}

std::int64_t saturatedTo32Bits(std::int64_t value) {
    using Limits = std::numeric_limits<std::int32_t>;
    return std::clamp<std::int64_t>(value, Limits::min(), Limits::max());
}

} // namespace

VELFirewallCheck::VELFirewallCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

bool VELFirewallCheck::runCheckWithParameters(const VELDictionary& /*parameters*/,
                                              std::optional<VELError>* error) const {
    return isMacFirewallEnabledError(error);
}

bool VELFirewallCheck::isMacFirewallEnabledError(std::optional<VELError>* error) const {
    constexpr const char* function = "-[VELFirewallCheck isMacFirewallEnabledError:]";
    const auto task = _platform->task(firewallTool, {"--getglobalstate"}, nullptr);
    const std::optional<std::string> output = runWithTimeout(task, toolTimeout, error, *_platform);
    std::optional<std::int64_t> state = stateInOutput(output.value_or(""));
    if (!state) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                         "Firewall check falling back");
        const auto stored =
            _platform->preferences().appIntegerValue(stateKey, preferencesApplicationID);
        if (!stored.found) {
            if (stored.value > 0) {
                return true;
            }
            SetPostureCheckError(error, VELPostureCheckErrorGeneral,
                                 "Error getting firewall state.");
            return false;
        }
        state = stored.value;
    }
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "Firewall state is: %ld",
                                     *state);
    return *state > 0;
}

std::optional<std::int64_t> VELFirewallCheck::stateInOutput(std::string_view output) {
    for (std::size_t at = output.find(stateLabel); at != std::string_view::npos;
         at = output.find(stateLabel, at + 1)) {
        const std::string_view number = output.substr(at + stateLabel.size());
        if (startsWithDecimalDigit(number)) {
            return saturatedTo32Bits(vel::integerValue(number));
        }
    }
    return std::nullopt;
}
