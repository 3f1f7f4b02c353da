// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELMachineDescription.h"

#include "Base/VELJSON.h"

#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

namespace vel {
namespace {

class DescriptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A value of the description and where it stands.
class Described {
public:
    explicit Described(const VELValue& value) : Described(value, {}) {}

    [[nodiscard]] const VELValue& value() const { return _value; }

    /// The member that the description's format names `key`.
    [[nodiscard]] Described member(const std::string& key, const VELValue& value) const {
        return {value, _place.empty() ? key : _place + "." + key};
    }

    /// The member that the description's author named `name`.
    [[nodiscard]] Described entry(const std::string& name, const VELValue& value) const {
        return {value, _place + "[" + compactText(name) + "]"};
    }

    [[nodiscard]] const VELDictionary& object() const {
        require(_value.is_object(), "is not an object");
        return _value;
    }

    [[nodiscard]] const std::string& text() const {
        require(_value.is_string(), "is not a string");
        return _value.get_ref<const std::string&>();
    }

    /// Any value but null, which no store holds.
    [[nodiscard]] const VELValue& stored() const {
        require(!_value.is_null(), "is null");
        return _value;
    }

    [[noreturn]] void refuseKey(const std::string& key) const {
        const std::string where = _place.empty() ? "" : " in " + _place;
        throw DescriptionError("unknown key " + compactText(key) + where);
    }

private:
    Described(const VELValue& value, std::string place) : _value(value), _place(std::move(place)) {}

    void require(bool condition, const char* otherwise) const {
        if (!condition) {
            throw DescriptionError((_place.empty() ? "the description" : _place) + " " + otherwise);
        }
    }

    const VELValue& _value;
    std::string _place;
};

/// A key of the format and what its value says of a part of the machine.
template <typename Part> struct Key {
    const char* name;
    void (*read)(const Described& value, Part& part);
};

/// Reads an object whose keys are all of `keys`.
template <typename Part>
void readKeys(const Described& described, std::span<const Key<Part>> keys, Part& part) {
    for (const auto& [name, value] : described.object().items()) {
        bool known = false;
        for (const Key<Part>& key : keys) {
            if (name == key.name) {
                key.read(described.member(name, value), part);
                known = true;
            }
        }
        if (!known) {
            described.refuseKey(name);
        }
    }
}

VELSimulatedPreferences::Store preferenceStore(const Described& applications) {
    VELSimulatedPreferences::Store store;
    for (const auto& [applicationID, values] : applications.object().items()) {
        const Described application = applications.entry(applicationID, values);
        auto& stored = store[applicationID];
        for (const auto& [key, value] : application.object().items()) {
            stored[key] = application.entry(key, value).stored();
        }
    }
    return store;
}

constexpr Key<VELSimulatedPreferences> preferenceKeys[] = {
    {"machine",
     [](const Described& value, VELSimulatedPreferences& preferences) {
         preferences.machine = preferenceStore(value);
     }},
    {"user",
     [](const Described& value, VELSimulatedPreferences& preferences) {
         preferences.user = preferenceStore(value);
     }},
};

/// A name is for people: it must be one, and says nothing of the machine.
void readName(const Described& value, VELSimulatedPlatform&) {
    static_cast<void>(value.text());
}

void readProductVersion(const Described& value, VELSimulatedPlatform& machine) {
    machine.productVersionRecord = value.text();
}

void readSerialNumber(const Described& value, VELSimulatedPlatform& machine) {
    machine.hardwareSerialNumber = value.text();
}

void readPreferences(const Described& value, VELSimulatedPlatform& machine) {
    readKeys<VELSimulatedPreferences>(value, preferenceKeys, machine.preferenceStore);
}

constexpr Key<VELSimulatedPlatform> machineKeys[] = {
    {"name", readName},
    {"productVersion", readProductVersion},
    {"serialNumber", readSerialNumber},
    {"preferences", readPreferences},
};

std::shared_ptr<VELSimulatedPlatform> machineFromValue(const VELValue& description) {
    auto machine = std::make_shared<VELSimulatedPlatform>();
    readKeys<VELSimulatedPlatform>(Described(description), machineKeys, *machine);
    return machine;
}

} // namespace

std::shared_ptr<VELSimulatedPlatform> machineFromDescription(std::string_view text,
                                                             std::string* error) {
    std::string failure;
    std::optional<VELError> readingError;
    if (const auto description = readJSON(text, &readingError)) {
        try {
            return machineFromValue(*description);
        } catch (const DescriptionError& wrong) {
            failure = wrong.what();
        }
    } else {
        failure = readingError->message();
    }
    if (error != nullptr) {
        *error = std::move(failure);
    }
    return nullptr;
}

} // namespace vel
