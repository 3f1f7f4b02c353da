// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/NearMiss.h"
#include "Tools/vel-posture/explain/Explanation.h"
#include "Tools/vel-posture/lint/Finding.h"

namespace {

/// Only asked for what its checks require: they have no platform.
const VELPostureCheckCatalogue& catalogue() {
    static const VELPostureCheckCatalogue checks = macPostureCheckCatalogue(nullptr);
    return checks;
}

Evidence unknownType(const VELValue* type) {
    std::vector<std::string> types;
    for (const auto& [name, check] : catalogue()) {
        types.push_back(name);
    }
    Evidence evidence = {.code = "type-missing",
                         .text = "the entry has no \"type\"",
                         .expected = types,
                         .found = type != nullptr ? *type : VELValue(),
                         .source = "the request"};
    if (type != nullptr && !type->is_string()) {
        evidence.code = "type-not-text";
        evidence.text = "\"type\" " + finding::wrongKind(*type, "a string");
    } else if (type != nullptr) {
        const auto& name = type->get_ref<const std::string&>();
        const auto near = nearestName(name, types);
        evidence.code = "type-unknown";
        evidence.text = "no check type is called " + named(name) +
                        (near ? "; " + finding::didYouMean(*near) : "");
    }
    return evidence;
}

} // namespace

std::optional<Evidence> explainRefusedEntry(const VELDictionary& entry) {
    const VELValue* type = vel::valueUnder("type", entry);
    const auto check = type != nullptr && type->is_string()
                           ? catalogue().find(type->get_ref<const std::string&>())
                           : catalogue().end();
    if (check == catalogue().end()) {
        return unknownType(type);
    }
    const auto required = check->second->requiredParameters();
    for (const std::string& parameter : required.value_or(std::vector<std::string>())) {
        if (!entry.contains(parameter)) {
            return Evidence{.code = "parameter-missing",
                            .text = "the entry has no parameter \"" + parameter + "\"",
                            .expected = parameter,
                            .source = "the request"};
        }
    }
    return std::nullopt;
}
