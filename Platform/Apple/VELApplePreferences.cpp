// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELApplePreferences.h"

#include "Platform/Apple/VELCFValue.h"

#include <nlohmann/json.hpp>

std::optional<VELValue> VELApplePreferences::copyValue(std::string_view key,
                                                       std::string_view applicationID,
                                                       VELPreferencesScope scope) const {
    const auto name = vel::stringOfText(key);
    const auto application = vel::stringOfText(applicationID);
    if (!name || !application) {
        return std::nullopt;
    }
    const CFStringRef user =
        scope == VELPreferencesScope::anyUser ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
    const auto value = VELCFReference<CFTypeRef>::adopt(
        ::CFPreferencesCopyValue(name.get(), application.get(), user, kCFPreferencesCurrentHost));
    return vel::valueOfObject(value.get());
}

VELPreferences::IntegerValue
VELApplePreferences::appIntegerValue(std::string_view key, std::string_view applicationID) const {
    const auto name = vel::stringOfText(key);
    const auto application = vel::stringOfText(applicationID);
    if (!name || !application) {
        return {0, false};
    }
    Boolean found = false;
    const CFIndex value = ::CFPreferencesGetAppIntegerValue(name.get(), application.get(), &found);
    return found != 0 ? IntegerValue{value, true} : IntegerValue{0, false};
}
