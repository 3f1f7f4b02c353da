// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <memory>
#include <string>

/// Makes runners on a platform other than the host's.
class VELPlatformRunnerFactory {
public:
    VELPlatformRunnerFactory() = delete;

    static std::unique_ptr<VELPostureCheckRunner>
    runner(std::string platformIdentifier, VELPostureCheckCatalogue postureChecks,
           std::shared_ptr<VELHostLogger> logger, std::shared_ptr<const VELPlatform> platform);

    /// The Mac's runner, with every check type on `platform`.
    static std::unique_ptr<VELPostureCheckRunner>
    macPostureCheckRunner(std::shared_ptr<VELHostLogger> logger,
                          std::shared_ptr<const VELPlatform> platform);
};

/// Every check type of the Mac's runner, newly made on `platform`.
VELPostureCheckCatalogue
macPostureCheckCatalogue(const std::shared_ptr<const VELPlatform>& platform);
