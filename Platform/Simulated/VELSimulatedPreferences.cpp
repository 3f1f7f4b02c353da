// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedPreferences.h"

namespace {

const VELValue* find(const VELSimulatedPreferences::Store& store, std::string_view key,
                     std::string_view applicationID) {
    const auto application = store.find(applicationID);
    if (application == store.end()) {
        return nullptr;
    }
    const auto value = application->second.find(key);
    return value == application->second.end() ? nullptr : &value->second;
}

} // namespace

std::optional<VELValue> VELSimulatedPreferences::copyValue(std::string_view key,
                                                           std::string_view applicationID,
                                                           VELPreferencesScope scope) const {
    ++copyValueCalls;
    const Store& store = scope == VELPreferencesScope::anyUser ? machine : user;
    const VELValue* value = find(store, key, applicationID);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

VELPreferences::IntegerValue
VELSimulatedPreferences::appIntegerValue(std::string_view key,
                                         std::string_view applicationID) const {
    ++appIntegerValueCalls;
    for (const Store* store : {&integers, &user, &machine}) {
        if (const VELValue* value = find(*store, key, applicationID)) {
            return integerValue(value);
        }
    }
    return {0, false};
}
