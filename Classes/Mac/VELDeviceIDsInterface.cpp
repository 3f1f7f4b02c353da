// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDeviceIDsInterface.h"

#include <nlohmann/json.hpp>

#include <utility>

std::optional<std::string> VELDeviceIDsInterface::getMacSerialNumber(const VELPlatform& platform) {
    return platform.serialNumber();
}

VELValue VELDeviceIDsInterface::getMacDeviceID(const VELPlatform& platform) {
    for (const auto scope : {VELPreferencesScope::anyUser, VELPreferencesScope::currentUser}) {
        if (auto value = platform.preferences().copyValue("deviceId", "com.vel.deviceId", scope)) {
            return *std::move(value);
        }
    }
    return "";
}
