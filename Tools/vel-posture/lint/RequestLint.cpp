// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/RequestLint.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Tools/vel-posture/NearMiss.h"
#include "Tools/vel-posture/lint/DocumentWalk.h"
#include "Tools/vel-posture/lint/KeyLint.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace {

constexpr const char* wholeRequestIsRefused = ": the whole request is refused";
constexpr const char* entryIsAnError = "the entry is an error";
constexpr const char* passesUnchecked = "nothing is checked, and the request passes";
constexpr const char* removeUnread = "remove it if nothing else reads it";
constexpr const char* anEntry = R"({"type": "localFirewall"})";

struct Lint {
    const LintRules& rules;
    FindingList& findings;
};

std::vector<std::string> requiredParameters(const VELPostureCheckItem& check) {
    return check.requiredParameters().value_or(std::vector<std::string>());
}

std::vector<std::string> typesOf(const VELPostureCheckCatalogue& catalogue) {
    std::vector<std::string> types;
    for (const auto& [type, check] : catalogue) {
        types.push_back(type);
    }
    return types;
}

std::string theTypes(const VELPostureCheckCatalogue& catalogue) {
    return "the check types are " + finding::listed(typesOf(catalogue));
}

/// The check type that requires a parameter of this name; nullopt if none does, or several do.
std::optional<std::string> typeRequiring(std::string_view parameter,
                                         const VELPostureCheckCatalogue& catalogue) {
    std::optional<std::string> found;
    for (const auto& [type, check] : catalogue) {
        const auto required = requiredParameters(*check);
        if (std::find(required.begin(), required.end(), parameter) == required.end()) {
            continue;
        }
        if (found) {
            return std::nullopt;
        }
        found = type;
    }
    return found;
}

std::string exampleOf(const std::string& type, const std::string& parameter) {
    const ParameterRules* rules = rulesOfParameter(type, parameter);
    return "add \"" + parameter + "\"" +
           (rules != nullptr ? ", such as \"" + parameter + "\": " + std::string(rules->example)
                             : "");
}

// ---- entries

/// Keys of an entry that describe it to people and other programs. "x-..." is allowed as well.
const std::vector<std::string> describingKeys = {"id", "title", "ticket", "severity",
                                                 "remediation"};

/// Keys that the result has a use of its own for.
bool isKeyOfResult(const std::string& key) {
    return key == "pass" || key == "error";
}

void reportKeyOfResult(const Place& place, const std::string& key, FindingList& findings) {
    findings.add(rule::resultKey, place.key(key),
                 key == "pass"
                     ? "stays in the result where the check ends in an error, and looks like its "
                       "answer"
                     : "stays in the result where the check passes or fails, and looks like an "
                       "error",
                 "remove it");
}

std::string adviceForType(const VELValue& entry, const VELPostureCheckCatalogue& catalogue) {
    for (const auto& [key, value] : entry.items()) {
        if (const auto type = typeRequiring(key, catalogue)) {
            return "add \"type\": \"" + *type + "\", to which \"" + key + "\" belongs";
        }
    }
    return "add a \"type\": " + theTypes(catalogue);
}

/// An entry whose check is not known: of its keys only those are judged that no check reads.
void lintEntryWithoutCheck(const VELValue& entry, const Place& place, const Lint& lint) {
    std::vector<std::string> known = describingKeys;
    known.emplace_back("type");
    KeyLint keys(entry, place, std::move(known), lint.findings);
    if (keys.require("type", entryIsAnError, adviceForType(entry, lint.rules.catalogue))) {
        const VELValue& type = entry.at("type");
        const auto* name = type.get_ptr<const std::string*>();
        const auto near =
            name != nullptr ? nearestName(*name, typesOf(lint.rules.catalogue)) : std::nullopt;
        lint.findings.add(name != nullptr ? rule::unknownType : rule::wrongType, place.key("type"),
                          (name != nullptr
                               ? "is " + finding::quoted(*name) + ", which is not a check type"
                               : finding::wrongKind(type, "a string")) +
                              ": " + entryIsAnError,
                          near ? finding::didYouMean(*near) : theTypes(lint.rules.catalogue));
    }
    for (const std::string& key : keys.takeUnknown()) {
        if (isKeyOfResult(key)) {
            reportKeyOfResult(place, key, lint.findings);
        }
    }
}

void lintUnknownKeys(KeyLint& keys, const Place& place, const std::string& type, bool takesNone,
                     const Lint& lint) {
    std::vector<std::string> unread;
    for (const std::string& key : keys.takeUnknown()) {
        const auto owner = typeRequiring(key, lint.rules.catalogue);
        if (isKeyOfResult(key)) {
            reportKeyOfResult(place, key, lint.findings);
        } else if (owner) {
            lint.findings.add(rule::unreadKey, place.key(key),
                              "is a parameter of " + *owner + ", not of " + type +
                                  ": it is ignored",
                              "move it to an entry of the type \"" + *owner + "\"");
        } else if (takesNone && nearestName(key, {"type"}) == std::nullopt) {
            lint.findings.add(rule::unreadKey, place.key(key),
                              "is ignored: " + type + " takes no parameters", removeUnread);
        } else {
            unread.push_back(key);
        }
    }
    keys.reportUnread(unread, removeUnread);
}

void lintEntryOfCheck(const VELValue& entry, const Place& place, const std::string& type,
                      const VELPostureCheckItem& check, const Lint& lint) {
    const std::vector<std::string> required = requiredParameters(check);
    std::vector<std::string> known = required;
    known.emplace_back("type");
    known.insert(known.end(), describingKeys.begin(), describingKeys.end());
    KeyLint keys(entry, place, std::move(known), lint.findings);
    for (const std::string& parameter : required) {
        if (!keys.require(parameter, entryIsAnError, exampleOf(type, parameter))) {
            continue;
        }
        if (const ParameterRules* rules = rulesOfParameter(type, parameter)) {
            rules->lint({entry.at(parameter), place.key(parameter), lint.rules.now, lint.findings});
        }
    }
    lintUnknownKeys(keys, place, type, required.empty(), lint);
}

void lintEntry(const VELValue& entry, const Place& place, const Lint& lint) {
    if (!entry.is_object()) {
        const auto* text = entry.get_ptr<const std::string*>();
        const bool isType = text != nullptr && lint.rules.catalogue.contains(*text);
        lint.findings.add(rule::refusedRequest, place,
                          finding::wrongKind(entry, "an object") + wholeRequestIsRefused,
                          "write " + (isType ? "{\"type\": " + finding::quoted(*text) + "}"
                                             : std::string("an object such as ") + anEntry));
        return;
    }
    const VELValue* type = vel::valueUnder("type", entry);
    const auto* name = type != nullptr ? type->get_ptr<const std::string*>() : nullptr;
    const auto found =
        name != nullptr ? lint.rules.catalogue.find(*name) : lint.rules.catalogue.end();
    if (found == lint.rules.catalogue.end()) {
        lintEntryWithoutCheck(entry, place, lint);
    } else {
        lintEntryOfCheck(entry, place, found->first, *found->second, lint);
    }
}

void lintEntries(const VELValue& entries, const Place& place, const Lint& lint) {
    if (!entries.is_array()) {
        lint.findings.add(rule::refusedRequest, place,
                          finding::wrongKind(entries, "an array") + wholeRequestIsRefused,
                          std::string("write a list: [") + anEntry + "]");
        return;
    }
    if (entries.empty()) {
        lint.findings.add(rule::noChecks, place, std::string("is empty: ") + passesUnchecked,
                          std::string("list the checks, such as ") + anEntry);
    }
    const auto isLess = [](const VELValue* left, const VELValue* right) { return *left < *right; };
    std::map<const VELValue*, std::size_t, decltype(isLess)> seen(isLess);
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const VELValue& entry = entries[index];
        lintEntry(entry, place.element(index), lint);
        const auto [first, isNew] = seen.emplace(&entry, index);
        if (!isNew && entry.is_object()) {
            lint.findings.add(rule::repetition, place.element(index),
                              "repeats " + place.element(first->second).text() +
                                  ": the check is run twice",
                              "remove one of them");
        }
    }
}

// ---- the document

bool isDescribingKey(std::string_view key) {
    return key == "$schema" || key == "name" || key == "version" || key.starts_with("x-");
}

void lintKeysOfDocument(const VELValue& request, const Lint& lint) {
    const std::string& platform = lint.rules.platformIdentifier;
    const bool isChecked = request.contains(platform);
    bool explainsEmptiness = isChecked || request.contains(kIDParams);
    for (const auto& [key, value] : request.items()) {
        const auto near = nearestName(key, {platform, kIDParams});
        if (key == platform || key == kIDParams || isDescribingKey(key)) {
            continue;
        }
        if (isListOfChecks(value) || (near == platform && value.is_array())) {
            lint.findings.add(
                isChecked && near != platform ? rule::otherPlatform : rule::misnamedChecks,
                Place().key(key),
                "is not read, only \"" + platform +
                    "\" is: " + (explainsEmptiness ? "these checks are not run" : passesUnchecked),
                isChecked && near != platform ? "move what is meant for \"" + platform + "\" there"
                                              : finding::didYouMean(platform));
            explainsEmptiness = true;
        } else {
            lint.findings.add(rule::unreadKey, Place().key(key), "is not read",
                              near ? finding::didYouMean(*near) : removeUnread);
        }
    }
    if (!explainsEmptiness) {
        lint.findings.add(rule::noChecks, Place().key(platform),
                          std::string("is missing: ") + passesUnchecked,
                          "list the checks under \"" + platform + "\": {\"" + platform + "\": [" +
                              anEntry + "]}");
    }
}

void lintIdentityName(const VELValue& element, const Place& place,
                      std::map<std::string, Place>& seen, FindingList& findings) {
    static const std::vector<std::string> values = {kMacSerialNumberKey, kDeviceIDKey};
    const auto* text = element.get_ptr<const std::string*>();
    if (text == nullptr) {
        findings.add(rule::refusedRequest, place,
                     finding::wrongKind(element, "a string") + wholeRequestIsRefused,
                     "the identity values are " + finding::listed(values));
        return;
    }
    const std::string name = vel::lowercase(*text);
    if (std::find(values.begin(), values.end(), name) == values.end()) {
        const auto near = nearestName(name, values);
        findings.add(rule::unknownIdentityValue, place,
                     "is " + finding::quoted(*text) + ", which is ignored",
                     near ? finding::didYouMean(*near)
                          : "the identity values are " + finding::listed(values));
    } else if (const auto [first, isNew] = seen.emplace(name, place); !isNew) {
        findings.add(rule::repetition, place,
                     "repeats " + first->second.text() + ": the value is read twice",
                     "remove one of them");
    }
}

void lintIdentityNames(const VELValue& names, const Place& place, FindingList& findings) {
    if (!names.is_array()) {
        findings.add(rule::refusedRequest, place,
                     finding::wrongKind(names, "an array") + wholeRequestIsRefused,
                     "write a list: [\"device_serial_number\", \"device_id\"]");
        return;
    }
    if (names.empty()) {
        findings.add(rule::emptyList, place, "is empty: no value is returned",
                     "list device_serial_number, device_id or both");
    }
    std::map<std::string, Place> seen;
    for (std::size_t index = 0; index < names.size(); ++index) {
        lintIdentityName(names[index], place.element(index), seen, findings);
    }
}

void lintDocument(const VELValue& request, const Lint& lint) {
    const std::string& platform = lint.rules.platformIdentifier;
    lintKeysOfDocument(request, lint);
    const VELValue* names = vel::valueUnder(kIDParams, request);
    const VELValue* entries = vel::valueUnder(platform, request);
    if (names == nullptr) {
        if (entries != nullptr) {
            lintEntries(*entries, Place().key(platform), lint);
        }
        return;
    }
    lintIdentityNames(*names, Place().key(kIDParams), lint.findings);
    if (entries != nullptr) {
        lint.findings.add(rule::ignoredChecks, Place().key(platform),
                          std::string("is not read, because there is \"") + kIDParams +
                              "\": these checks are not run",
                          "ask for checks and for identity values in two requests");
    }
}

} // namespace

bool isListOfChecks(const VELValue& value) {
    return value.is_array() && std::any_of(value.begin(), value.end(), [](const VELValue& entry) {
               return entry.is_object() && entry.contains("type");
           });
}

std::vector<Finding> findingsInRequest(const VELValue& request, const LintRules& rules) {
    FindingList findings;
    lintDocument(request, {rules, findings});
    return findings.take();
}

std::optional<std::vector<Finding>>
findingsInDocument(std::string_view document, const LintRules& rules, std::string* failure) {
    std::optional<VELError> error;
    const auto request = vel::readJSON(document, &error);
    if (!request || !request->is_object()) {
        *failure = request ? "the request is not an object" : error->message();
        return std::nullopt;
    }
    FindingList list;
    findDuplicateKeys(document, list);
    lintDocument(*request, {rules, list});
    std::vector<Finding> findings = list.take();
    locateFindings(document, findings);
    return findings;
}
