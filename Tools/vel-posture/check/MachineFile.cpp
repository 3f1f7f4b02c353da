// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/MachineFile.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

std::shared_ptr<const VELPlatform> machineFromFile(const std::string& path) {
    std::string error;
    auto machine = vel::machineFromDescription(readFile(path), &error);
    if (machine == nullptr) {
        throw ProgramFailure("machine description \"" + path + "\": " + error);
    }
    return machine;
}
