// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/MachineFile.h"

#include "Base/VELJSON.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <nlohmann/json.hpp>

namespace {

class DescriptionFailure : public ProgramFailure {
public:
    using ProgramFailure::ProgramFailure;
};

const VELDictionary& objectAt(const VELValue& value, const std::string& place) {
    if (!value.is_object()) {
        throw DescriptionFailure(place + " is not an object");
    }
    return value;
}

const std::string& textAt(const VELValue& value, const std::string& place) {
    if (!value.is_string()) {
        throw DescriptionFailure(place + " is not a text");
    }
    return value.get_ref<const std::string&>();
}

VELSimulatedPreferences::Store storeAt(const VELValue& value, const std::string& place) {
    VELSimulatedPreferences::Store store;
    for (const auto& [application, preferences] : objectAt(value, place).items()) {
        for (const auto& [key, preference] :
             objectAt(preferences, place + "." + application).items()) {
            store[application][key] = preference;
        }
    }
    return store;
}

void setPreferences(VELSimulatedPreferences& preferences, const VELValue& value) {
    for (const auto& [scope, store] : objectAt(value, "preferences").items()) {
        if (scope == "machine") {
            preferences.machine = storeAt(store, "preferences.machine");
        } else if (scope == "user") {
            preferences.user = storeAt(store, "preferences.user");
        } else {
            throw DescriptionFailure("preferences has an unknown key \"" + scope + "\"");
        }
    }
}

void set(VELSimulatedPlatform& machine, const std::string& key, const VELValue& value) {
    if (key == "name") {
        textAt(value, key);
    } else if (key == "productVersion") {
        machine.productVersionRecord = textAt(value, key);
    } else if (key == "serialNumber") {
        machine.hardwareSerialNumber = textAt(value, key);
    } else if (key == "preferences") {
        setPreferences(machine.preferenceStore, value);
    } else {
        throw DescriptionFailure("unknown key \"" + key + "\"");
    }
}

std::shared_ptr<const VELPlatform> machineFromDescription(const std::string& text) {
    std::optional<VELError> error;
    const std::optional<VELValue> description = vel::readJSON(text, &error);
    if (!description) {
        throw DescriptionFailure(error->message());
    }
    auto machine = std::make_shared<VELSimulatedPlatform>();
    for (const auto& [key, value] : objectAt(*description, "the description").items()) {
        set(*machine, key, value);
    }
    return machine;
}

} // namespace

std::shared_ptr<const VELPlatform> machineFromFile(const std::string& path) {
    const std::string text = readFile(path);
    try {
        return machineFromDescription(text);
    } catch (const DescriptionFailure& failure) {
        throw ProgramFailure("machine description \"" + path + "\": " + failure.what());
    }
}
