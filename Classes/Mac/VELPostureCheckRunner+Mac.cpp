// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"

#include "Base/VELDuration.h"
#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Classes/Mac/VELDeviceIDsInterface.h"
#include "Classes/Mac/VELDiskEncryptionCheck.h"
#include "Classes/Mac/VELDomainCheck.h"
#include "Classes/Mac/VELFirewallCheck.h"
#include "Classes/Mac/VELPerDeviceCertificatePresentCheck.h"
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELOSVersionCheck.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace {

double timestamp(const VELPlatform& platform) {
    return vel::seconds(platform.ticks().time_since_epoch());
}

/// The values that an identity request names.
VELDictionary collectIdentity(const VELDictionary& request, const VELPlatform& platform) {
    constexpr const char* function =
        "-[VELPostureCheckRunner runGetIdentityParametersFromDictionary:]";
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Input JSON with parameters: %@", request);
    const VELValue* names = vel::valueUnder(kIDParams, request);
    if (names == nullptr) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, function, "Input JSON is empty");
        return VELValue::object();
    }

    VELDictionary values = VELValue::object();
    const double start = timestamp(platform);
    for (const VELValue& element : *names) {
        const std::string name = vel::lowercase(element.get_ref<const std::string&>());
        if (name == kMacSerialNumberKey) {
            if (auto serialNumber = VELDeviceIDsInterface::getMacSerialNumber(platform)) {
                values[kMacSerialNumberKey] = *std::move(serialNumber);
            } else {
                values.erase(kMacSerialNumberKey);
            }
        } else if (name == kDeviceIDKey) {
            values[kDeviceIDKey] = VELDeviceIDsInterface::getMacDeviceID(platform);
        }
    }
    const double duration = (timestamp(platform) - start) * 1000.0;

    VELDictionary result = VELValue::object();
    result[kIDParams] = std::move(values);
    // A null that its first key makes an object is broken when there is no memory for that.
    result["metrics"] = VELValue::object();
    result["metrics"]["total_ms"] = duration;
    return result;
}

} // namespace

VELPostureCheckCatalogue
macPostureCheckCatalogue(const std::shared_ptr<const VELPlatform>& platform) {
    return {
        {"localFirewall", std::make_shared<const VELFirewallCheck>(platform)},
        {"fullDiskEncryption", std::make_shared<const VELDiskEncryptionCheck>(platform)},
        {"certificatePresent", std::make_shared<const VELCertificateCheck>(platform)},
        {"minimumOSVersion", std::make_shared<const VELOSVersionCheck>(platform)},
        {"anyProcessRunning", std::make_shared<const VELProcessRunningCheck>(platform)},
        {"joinedToDomain", std::make_shared<const VELDomainCheck>(platform)},
        {"perDeviceCertificatePresent",
         std::make_shared<const VELPerDeviceCertificatePresentCheck>(platform)},
    };
}

std::unique_ptr<VELPostureCheckRunner> VELPlatformRunnerFactory::runner(
    std::string platformIdentifier, VELPostureCheckCatalogue postureChecks,
    std::shared_ptr<VELHostLogger> logger, std::shared_ptr<const VELPlatform> platform) {
    return std::unique_ptr<VELPostureCheckRunner>(
        new VELPostureCheckRunner(std::move(platformIdentifier), std::move(postureChecks),
                                  collectIdentity, std::move(logger), std::move(platform)));
}

std::unique_ptr<VELPostureCheckRunner>
VELPlatformRunnerFactory::macPostureCheckRunner(std::shared_ptr<VELHostLogger> logger,
                                                std::shared_ptr<const VELPlatform> platform) {
    VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(platform);
    return runner("mac", std::move(catalogue), std::move(logger), std::move(platform));
}

std::unique_ptr<VELPostureCheckRunner>
VELPostureCheckRunner::macPostureCheckRunner(std::shared_ptr<VELHostLogger> logger) {
    return VELPlatformRunnerFactory::macPostureCheckRunner(std::move(logger), VELPlatform::host());
}

VELPostureCheckRunner::VELPostureCheckRunner(std::string platformIdentifier,
                                             VELPostureCheckCatalogue postureChecks,
                                             std::shared_ptr<VELHostLogger> logger)
    : VELPostureCheckRunner(std::move(platformIdentifier), std::move(postureChecks),
                            collectIdentity, std::move(logger), VELPlatform::host()) {}
