// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELDomainCheck.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <map>

namespace {

constexpr const char* wantedDomain = "write the domain, such as \"*.sample.test\"";

/// What somebody meant who wrote one of these characters.
struct Habit {
    std::string_view characters;
    const char* advice;
};

constexpr std::array habits = {
    Habit{"?", "\"*\" matches any run of characters; no wildcard matches a single one"},
    Habit{"^$\\[](){}|+", "a pattern is no regular expression: its dots are literal, and it is "
                          "searched for anywhere in the domain"},
    Habit{",; \t\r\n", "write each pattern as its own list element"},
    Habit{"@/:", "write the domain alone, without a user, a scheme or a port"},
};

constexpr const char* otherAdvice = "write letters, digits, \".\", \"-\", \"_\" and \"*\" alone";

std::u32string refusedCharacters(std::string_view pattern) {
    std::u32string refused;
    while (!pattern.empty()) {
        const auto character = pattern.substr(0, vel::firstCodePoint(pattern).length);
        if (!VELDomainCheck::isValidDomainWildcardString(character)) {
            refused += vel::characters(character);
        }
        pattern.remove_prefix(character.size());
    }
    return refused;
}

std::string adviceFor(std::u32string_view refused) {
    for (const Habit& habit : habits) {
        if (refused.front() < 0x80 &&
            habit.characters.find(static_cast<char>(refused.front())) != std::string_view::npos) {
            return habit.advice;
        }
    }
    return otherAdvice;
}

bool namesSomething(std::string_view pattern) {
    const std::u32string characters = vel::characters(pattern);
    return std::any_of(characters.begin(), characters.end(), vel::isAlphanumeric);
}

void lintPattern(const std::string& pattern, const Place& place, FindingList& findings) {
    if (pattern.empty()) {
        findings.add(rule::neverPasses, place, "is empty: it matches no domain", wantedDomain);
    } else if (const auto refused = refusedCharacters(pattern); !refused.empty()) {
        findings.add(rule::neverPasses, place,
                     "contains " + finding::charactersIn(refused) +
                         ", which a pattern cannot contain: it matches no domain",
                     adviceFor(refused));
    } else if (pattern.find_first_not_of('*') == std::string::npos) {
        findings.add(rule::alwaysPasses, place, "matches every domain", wantedDomain);
    } else if (!namesSomething(pattern)) {
        findings.add(
            rule::broadPattern, place,
            "has no letter or digit: it matches every domain that contains these characters",
            wantedDomain);
    } else if (pattern.find('.') == std::string::npos) {
        findings.add(rule::broadPattern, place,
                     "has no dot, and is found anywhere in a domain: it matches domains of any "
                     "organisation",
                     wantedDomain);
    }
}

} // namespace

void lintDomainPatterns(const ParameterLint& names) {
    if (!names.value.is_array()) {
        const auto* text = names.value.get_ptr<const std::string*>();
        names.report(rule::wrongType,
                     finding::wrongKind(names.value, "an array") +
                         ": on a machine that is bound to a domain, the entry is an error (\"" +
                         vel::errortext::notAnArray("names") + "\")",
                     "write a list: [" +
                         (text != nullptr ? finding::quoted(*text) : "\"*.sample.test\"") + "]");
        return;
    }
    if (names.value.empty()) {
        names.report(rule::neverPasses, "is empty: no machine passes",
                     "list a pattern, such as \"*.sample.test\"");
    }
    std::map<std::string, Place> seen;
    for (std::size_t index = 0; index < names.value.size(); ++index) {
        const VELValue& element = names.value[index];
        const Place place = names.place.element(index);
        const auto* pattern = element.get_ptr<const std::string*>();
        if (pattern == nullptr) {
            names.findings.add(
                rule::wrongType, place,
                finding::wrongKind(element, "a string") + ": on a machine that is bound to a " +
                    (index == 0 ? "domain" : "domain that no pattern before it matches") +
                    ", the entry is an error (\"" +
                    vel::errortext::notAString("names[" + std::to_string(index) + "]") + "\")",
                wantedDomain);
            continue;
        }
        lintPattern(*pattern, place, names.findings);
        const auto [first, isNew] = seen.emplace(vel::lowercase(*pattern), place);
        if (!isNew) {
            names.findings.add(rule::repetition, place,
                               "repeats " + first->second.text() + ", ignoring case",
                               "remove one of them");
        }
    }
}
