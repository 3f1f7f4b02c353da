// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <compare>
#include <cstddef>

namespace {

constexpr std::ptrdiff_t mostComponentsOfFirst = 2; // "12.0" is a product version, "12.3.0" is none
constexpr std::string_view digits = "0123456789";
constexpr const char* wantedVersion = "write numbers and dots, such as \"14.5\"";

/// The length of the numbers with single dots between them at the front of `text`.
std::size_t lengthOfVersion(std::string_view text) {
    std::size_t length = 0;
    for (std::size_t at = 0;; at = length + 1) {
        const std::size_t end = std::min(text.find_first_not_of(digits, at), text.size());
        if (end <= at) {
            return length;
        }
        length = end;
        if (end == text.size() || text[end] != '.') {
            return length;
        }
    }
}

/// As the check decides.
bool passes(std::string_view required, std::string_view system) {
    return vel::compareNumerically(required, system) <= 0;
}

std::string adviceFor(std::string_view text) {
    const std::size_t start = text.find_first_of(digits);
    if (start == std::string_view::npos) {
        return wantedVersion;
    }
    text.remove_prefix(start);
    return "write " + finding::quoted(text.substr(0, lengthOfVersion(text)));
}

/// The character of `text` at `at`, which begins one.
std::string characterAt(std::string_view text, std::size_t at) {
    return finding::charactersIn(vel::characters(text.substr(at, 4)).substr(0, 1));
}

void lintBeginning(const std::string& text, const ParameterLint& version) {
    const bool passesAll = passes(text, "0");
    version.report(passesAll ? rule::alwaysPasses : rule::neverPasses,
                   "begins with " + characterAt(text, 0) + ", not with a digit: " +
                       (passesAll ? "every version passes" : "no version passes"),
                   adviceFor(text));
}

/// A text that goes on behind its version: a machine at this version compares with the rest.
void lintRest(const std::string& text, std::size_t length, const ParameterLint& version) {
    const std::string own = text.substr(0, length);
    const std::string later = own + ".1";
    const std::string shownOwn = finding::quoted(own);
    const std::string shownLater = finding::quoted(later);
    const bool isDotFirst = text[length] == '.' && length + 1 < text.size();
    version.report(rule::oddVersion,
                   "contains " + characterAt(text, length + (isDotFirst ? 1U : 0U)) + " after " +
                       shownOwn + ": " + shownOwn + " itself fails, " +
                       (passes(text, later) ? "although " + shownLater + " passes"
                                            : "and so does " + shownLater),
                   "write " + shownOwn);
}

std::string withoutLastZeros(std::string version) {
    auto dots = std::count(version.begin(), version.end(), '.');
    for (; dots >= mostComponentsOfFirst && version.ends_with(".0"); --dots) {
        version.erase(version.size() - 2);
    }
    return version;
}

} // namespace

void lintVersion(const ParameterLint& version) {
    const std::string* text = version.text(vel::errortext::invalidVersionType,
                                           "write the version in quotes, such as \"14.5\"");
    if (text == nullptr) {
        return;
    }
    if (text->empty()) {
        version.report(rule::alwaysPasses, "is empty: every version passes", wantedVersion);
        return;
    }
    const std::size_t length = lengthOfVersion(*text);
    if (length == 0) {
        lintBeginning(*text, version);
    } else if (length < text->size()) {
        lintRest(*text, length, version);
    } else if (const std::string shorter = withoutLastZeros(*text); shorter != *text) {
        version.report(rule::oddVersion,
                       "ends in \".0\": " + finding::quoted(shorter) +
                           " itself fails, because it orders before " + finding::quoted(*text),
                       "write " + finding::quoted(shorter));
    }
}
