// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/VELPostureCheckErrors.h"

#include "Base/VELText.h"
#include "Classes/Shared/VELDTLogger.h"

#include <nlohmann/json.hpp>

#include <utility>

const char* const kVELPostureCheckErrorDomain = "com.vel.posturecheck";

void SetPostureCheckError(std::optional<VELError>* error, std::int64_t code, std::string message) {
    if (error == nullptr) {
        return;
    }
    VELDictionary userInfo = VELValue::object();
    userInfo[kUnlocalizedDescriptionKey] = vel::validUTF8(message);
    *error = VELError(kVELPostureCheckErrorDomain, code, std::move(userInfo));
    VELDTLogger::logMessageWithLevel(VELLogLevel::error, "SetPostureCheckError", "Error: %@",
                                     **error);
}
