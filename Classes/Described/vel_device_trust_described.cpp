// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust_described/vel_device_trust_described.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <utility>

std::unique_ptr<VELPostureCheckRunner>
describedMacPostureCheckRunner(std::string_view description, std::shared_ptr<VELHostLogger> logger,
                               std::string* error) {
    auto machine = vel::machineFromDescription(description, error);
    return machine != nullptr ? VELPlatformRunnerFactory::macPostureCheckRunner(std::move(logger),
                                                                                std::move(machine))
                              : nullptr;
}
