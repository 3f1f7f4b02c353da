// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELValue.h"

#include <optional>
#include <string>

/// The identity values of the machine, read again at every call.
class VELDeviceIDsInterface {
public:
    VELDeviceIDsInterface() = delete;

    /// The hardware serial number; absent when it cannot be read.
    static std::optional<std::string> getMacSerialNumber(const VELPlatform& platform);

    /// The device identifier that a management tool stored as "deviceId" of "com.vel.deviceId", as
    /// stored: the one for any user, else the current user's, else "".
    static VELValue getMacDeviceID(const VELPlatform& platform);
};
