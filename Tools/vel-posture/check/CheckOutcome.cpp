// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/CheckOutcome.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/RequestSource.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace {

using Kind = CheckOutcome::Kind;

constexpr std::size_t widestText = 60;           // in a parameter: a fingerprint with its spaces
constexpr std::size_t widestParameterList = 120; // of all parameters of a check
constexpr std::array identifyingKeys = {"id", "name", "title"};

void addParameter(std::string& text, const VELValue& value);

/// Adds the elements of a container behind one another, with spaces at which a line can be broken.
template <typename AddElement>
void addElements(std::string& text, const VELValue& container, AddElement addElement) {
    std::string_view separator;
    for (const auto& element : container.items()) {
        // More is not shown, however wide its letters are.
        if (text.size() > 4 * widestParameterList) {
            return;
        }
        text += separator;
        addElement(element);
        separator = ", ";
    }
}

/// Adds a value within a container as JSON, its texts shortened.
void addElement(std::string& text, const VELValue& value) {
    if (value.is_string()) {
        const std::string quoted = printable(vel::compactText(value));
        const auto unquoted = std::string_view(quoted).substr(1, quoted.size() - 2);
        text += '"' + truncated(unquoted, widestText) + '"';
    } else {
        addParameter(text, value);
    }
}

void addParameter(std::string& text, const VELValue& value) {
    if (value.is_array()) {
        text += '[';
        addElements(text, value, [&text](const auto& item) { addElement(text, item.value()); });
        text += ']';
    } else if (value.is_object()) {
        text += '{';
        addElements(text, value, [&text](const auto& item) {
            addElement(text, item.key());
            text += ": ";
            addElement(text, item.value());
        });
        text += '}';
    } else {
        text += truncated(shown(value), widestText);
    }
}

void addNamedParameter(std::string& text, const std::string& name, const VELValue& value) {
    text += (text.empty() ? "" : ", ") + truncated(printable(name), widestText) + ": ";
    addParameter(text, value);
}

bool isParameter(const std::string& name) {
    return name != "type" && name != "pass" && name != "error";
}

/// Of an entry that is no error, "error" is a parameter like others.
std::string parametersOf(const VELValue& entry, bool isError) {
    std::string text;
    for (const auto& [name, value] : entry.items()) {
        if (isParameter(name) || (name == "error" && !isError)) {
            addNamedParameter(text, name, value);
        }
        if (text.size() > 4 * widestParameterList) { // no longer fits, however wide its letters are
            break;
        }
    }
    return truncated(text, widestParameterList);
}

std::string identificationOf(const VELValue& entry) {
    std::string text;
    for (const char* key : identifyingKeys) {
        if (const VELValue* value = vel::valueUnder(key, entry)) {
            addNamedParameter(text, key, *value);
            return truncated(text, widestParameterList);
        }
    }
    for (const auto& [name, value] : entry.items()) {
        if (isParameter(name)) {
            addNamedParameter(text, name, value);
            break;
        }
    }
    return truncated(text, widestParameterList);
}

/// The entry of the request at this place; null if it is not known.
const VELValue* askedEntry(const VELValue& request, std::size_t index) {
    const VELValue* entries = vel::valueUnder(platformIdentifier, request);
    return entries != nullptr && entries->is_array() && index < entries->size() ? &(*entries)[index]
                                                                                : nullptr;
}

bool brought(const VELValue* asked, const char* key, const VELValue& value) {
    const VELValue* own = asked != nullptr ? vel::valueUnder(key, *asked) : nullptr;
    return own != nullptr && *own == value;
}

/// The result keeps what an entry brings: beside its own "error" a "pass" of the request, beside
/// its own "pass" an "error".
Kind kindOf(const VELValue& entry, const VELValue* asked, bool allPassed) {
    const VELValue* error = vel::valueUnder("error", entry);
    const VELValue* pass = vel::valueUnder("pass", entry);
    const bool hasAnswer = pass != nullptr && pass->is_boolean();
    const Kind answer = hasAnswer && pass->get<bool>() ? Kind::pass : Kind::fail;
    if (error == nullptr || (hasAnswer && allPassed)) {
        return answer;
    }
    return hasAnswer && brought(asked, "error", *error) && !brought(asked, "pass", *pass)
               ? answer
               : Kind::error;
}

} // namespace

std::string shown(const VELValue& value) {
    return printable(vel::displayText(value));
}

const char* nameOf(CheckOutcome::Kind kind) {
    switch (kind) {
    case Kind::pass:
        return "pass";
    case Kind::fail:
        return "fail";
    case Kind::error:
        break;
    }
    return "error";
}

bool isDeviceTrustResult(const VELValue& result) {
    return result.contains("checks");
}

bool isErrorResult(const VELValue& result) {
    return !isDeviceTrustResult(result) && result.contains("error");
}

bool ranNoCheck(const VELValue& result) {
    return isDeviceTrustResult(result) && result.at("checks").empty();
}

std::vector<Kind> outcomeKinds(const VELValue& result, const VELValue& request) {
    std::vector<Kind> kinds;
    const bool allPassed = result.at("pass").get<bool>();
    for (const VELValue& entry : result.at("checks")) {
        kinds.push_back(kindOf(entry, askedEntry(request, kinds.size()), allPassed));
    }
    return kinds;
}

std::vector<CheckOutcome> checkOutcomes(const VELValue& result, const VELValue& request) {
    std::vector<CheckOutcome> outcomes;
    const VELValue& details = result.at("metrics").at("details");
    const std::vector<Kind> kinds = outcomeKinds(result, request);
    for (const VELValue& entry : result.at("checks")) {
        const std::size_t index = outcomes.size();
        CheckOutcome outcome;
        outcome.kind = kinds[index];
        outcome.milliseconds = details.at(index).at("check").at("total_ms").get<double>();
        const VELValue* type = vel::valueUnder("type", entry);
        outcome.type = type != nullptr ? shown(*type) : "(no type)";
        outcome.identification = identificationOf(entry);
        outcome.parameters = parametersOf(entry, outcome.kind == Kind::error);
        if (outcome.kind == Kind::error) {
            outcome.error = shown(entry.at("error"));
        }
        outcomes.push_back(std::move(outcome));
    }
    return outcomes;
}

int exitStatus(const VELValue& result, const VELValue& request, bool isStrict) {
    if (isErrorResult(result)) {
        return 2;
    }
    if (!isDeviceTrustResult(result) || result.at("pass").get<bool>()) {
        return 0;
    }
    if (!isStrict) {
        return 1;
    }
    const auto outcomes = checkOutcomes(result, request);
    const bool anyFailed = std::any_of(outcomes.begin(), outcomes.end(), [](const auto& outcome) {
        return outcome.kind == Kind::fail;
    });
    return anyFailed ? 1 : 3;
}

int worseStatus(int left, int right) {
    for (const int status : {2, 1, 3}) {
        if (left == status || right == status) {
            return status;
        }
    }
    return 0;
}
