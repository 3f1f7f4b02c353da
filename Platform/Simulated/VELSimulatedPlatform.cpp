// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <utility>

namespace {

const VELValue* find(const VELSimulatedPreferences::Store& store, std::string_view key,
                     std::string_view applicationID) {
    const auto application = store.find(applicationID);
    if (application == store.end()) {
        return nullptr;
    }
    const auto value = application->second.find(key);
    return value == application->second.end() ? nullptr : &value->second;
}

} // namespace

std::optional<VELValue> VELSimulatedPreferences::copyValue(std::string_view key,
                                                           std::string_view applicationID,
                                                           VELPreferencesScope scope) const {
    ++copyValueCalls;
    const Store& store = scope == VELPreferencesScope::anyUser ? machine : user;
    const VELValue* value = find(store, key, applicationID);
    return value != nullptr ? std::optional(*value) : std::nullopt;
}

VELPreferences::IntegerValue
VELSimulatedPreferences::appIntegerValue(std::string_view key,
                                         std::string_view applicationID) const {
    ++appIntegerValueCalls;
    for (const Store* store : {&user, &machine}) {
        if (const VELValue* value = find(*store, key, applicationID)) {
            return integerValue(value);
        }
    }
    return {0, false};
}

void VELSimulatedPlatform::advanceTime(std::uint64_t nanoseconds) const {
    time.advanceTo(time.now() + nanoseconds);
}

std::uint64_t VELSimulatedPlatform::ticks() const {
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

std::string VELSimulatedPlatform::toolPath(std::string_view tool) const {
    return std::string(tool);
}

std::shared_ptr<VELTask> VELSimulatedPlatform::task(std::string launchPath,
                                                    std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), std::move(launchPath));
    return std::make_shared<VELSimulatedTask>(std::move(arguments), tools, time, taskRecord);
}

const VELWorkQueue& VELSimulatedPlatform::workQueue() const {
    return time;
}
