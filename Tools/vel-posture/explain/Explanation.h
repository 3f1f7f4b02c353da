// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Tools/vel-posture/explain/Evidence.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// What the explanations of the checks share. All are pure functions.

using Answers = std::span<const VELRecordedAnswer>;

/// What the answers to a check lead to, and why.
struct Explanation {
    CheckOutcome::Kind outcome;
    Evidence evidence;
};

/// The first answer of a kind; null when there is none.
template <typename Kind> const Kind* answerOf(Answers answers) {
    for (const VELRecordedAnswer& each : answers) {
        if (const auto* answer = std::get_if<Kind>(&each.answer)) {
            return answer;
        }
    }
    return nullptr;
}

/// All answers of a kind, in order.
template <typename Kind> std::vector<const Kind*> answersOf(Answers answers) {
    std::vector<const Kind*> found;
    for (const VELRecordedAnswer& each : answers) {
        if (const auto* answer = std::get_if<Kind>(&each.answer)) {
            found.push_back(answer);
        }
    }
    return found;
}

/// How one of these explains a check. Nothing: the answers do not suffice for it.
using Explainer = std::optional<Explanation> (*)(const VELDictionary& entry, Answers answers);

std::optional<Explanation> explainFirewall(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainDiskEncryption(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainCertificate(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainVersion(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainProcess(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainDomain(const VELDictionary& entry, Answers answers);
std::optional<Explanation> explainIdentity(const VELDictionary& entry, Answers answers);

/// Why an entry never reaches a check: no known type, or a parameter is missing. Nothing: it does.
std::optional<Evidence> explainRefusedEntry(const VELDictionary& entry);

/// That a parameter is of the wrong type. `path` names it: "processes[0].name"; `wanted` is "a
/// string".
Explanation wrongType(const std::string& path, const VELValue& value, std::string_view wanted);

/// A text from outside within a sentence: in quotes, unless it is a plain word such as "14.5".
std::string named(std::string_view text);

/// A value from outside within a sentence: as JSON, cut short.
std::string shownValue(const VELValue& value);

/// "a; b; c", after a few of many "and 12 more".
std::string sentence(const std::vector<std::string>& parts);

/// The day of a moment, "2026-01-02", in UTC.
std::string dayOf(VELMoment moment);

/// A certificate's short name, “C02EXAMPLE”.
std::string nameOfCertificate(std::string_view der);
