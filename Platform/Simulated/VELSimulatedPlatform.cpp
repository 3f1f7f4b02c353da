// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <utility>

void VELSimulatedPlatform::advanceTime(std::chrono::nanoseconds duration) const {
    time.advanceTo(time.now() + duration);
}

VELTimePoint VELSimulatedPlatform::ticks() const {
    ++ticksCalls;
    return time.now();
}

std::optional<std::string> VELSimulatedPlatform::productVersion() const {
    ++productVersionCalls;
    return productVersionRecord;
}

std::optional<std::string> VELSimulatedPlatform::serialNumber() const {
    ++serialNumberCalls;
    advanceTime(serialNumberDuration);
    return hardwareSerialNumber;
}

const VELPreferences& VELSimulatedPlatform::preferences() const {
    return preferenceStore;
}

const VELFiles& VELSimulatedPlatform::files() const {
    return fileStore;
}

const VELDiskArbitration& VELSimulatedPlatform::diskArbitration() const {
    return disks;
}

const VELKeychain& VELSimulatedPlatform::keychain() const {
    return keychainStore;
}

const VELCertificates& VELSimulatedPlatform::certificates() const {
    return certificateStore;
}

std::shared_ptr<const VELWorkingPlace> VELSimulatedPlatform::openWorkingPlace() const {
    return std::make_shared<const VELSimulatedWorkingPlace>(workingPlacesAvailable);
}

std::shared_ptr<VELTask>
VELSimulatedPlatform::task(std::string_view tool, std::vector<std::string> arguments,
                           std::shared_ptr<const VELWorkingPlace> place) const {
    arguments.insert(arguments.begin(), std::string(tool));
    return std::make_shared<VELSimulatedTask>(
        std::move(arguments), std::dynamic_pointer_cast<const VELSimulatedWorkingPlace>(place),
        tools, time, taskRecord);
}

const VELWorkQueue& VELSimulatedPlatform::workQueue() const {
    return time;
}
