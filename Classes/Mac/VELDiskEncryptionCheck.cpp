// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELDiskEncryptionCheck.h"

#include "Classes/Mac/VELCheckpointEncryptionCheck.h"
#include "Classes/Mac/VELErrorParameter.h"
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"
#include "Classes/Shared/VELDTLogger.h"

#include <array>
#include <string_view>
#include <utility>

VELDiskEncryptionCheck::VELDiskEncryptionCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

bool VELDiskEncryptionCheck::runCheckWithParameters(const VELDictionary& parameters,
                                                    std::optional<VELError>* error) const {
    const VELFileVaultEncryptionCheck fileVault(_platform);
    const VELCheckpointEncryptionCheck checkpoint(_platform);
    struct Method {
        std::string_view className;
        const VELPostureCheckItem* check;
    };
    const std::array<Method, 2> methods = {{
        {"VELFileVaultEncryptionCheck", &fileVault},
        {"VELCheckpointEncryptionCheck", &checkpoint},
    }};
    for (const Method& method : methods) {
        if (method.check->runCheckWithParameters(parameters, error)) {
            vel::clearError(error);
            VELDTLogger::logMessageWithLevel(
                VELLogLevel::information, "-[VELDiskEncryptionCheck runCheckWithParameters:error:]",
                "Kind of disk encryption check passed: %@", method.className);
            return true;
        }
    }
    return false;
}
