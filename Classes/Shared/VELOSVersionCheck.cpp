// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELOSVersionCheck.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <utility>

VELOSVersionCheck::VELOSVersionCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

std::optional<std::vector<std::string>> VELOSVersionCheck::requiredParameters() const {
    return {{"version"}};
}

bool VELOSVersionCheck::runCheckWithParameters(const VELDictionary& parameters,
                                               std::optional<VELError>* error) const {
    const VELValue* version = vel::valueUnder("version", parameters);
    if (version == nullptr || !version->is_string()) {
        SetPostureCheckError(error, VELPostureCheckErrorInvalidParameter,
                             vel::errortext::invalidVersionType);
        return false;
    }
    return osVersionAtLeast(version->get_ref<const std::string&>(), error, *_platform);
}

bool VELOSVersionCheck::osVersionAtLeast(const std::string& version,
                                         std::optional<VELError>* /*error*/,
                                         const VELPlatform& platform) {
    constexpr const char* function = "+[VELOSVersionCheck osVersionAtLeast:error:]";
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Version we are checking for: %@", version);
    const std::optional<std::string> systemVersion = platform.productVersion();
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "System Version: %@",
                                     systemVersion);
    return systemVersion && vel::compareNumerically(version, *systemVersion) <= 0;
}
