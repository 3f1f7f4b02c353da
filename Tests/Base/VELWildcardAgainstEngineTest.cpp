// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Base/VELWildcard.h"
#include "Classes/Mac/VELDomainCheck.h"

#include <gtest/gtest.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace {

/// What the expression of the log line finds, by an engine that folds case as fully as we do.
bool engineFinds(const std::string& pattern, const std::string& domain) {
    UErrorCode status = U_ZERO_ERROR;
    icu::RegexMatcher matcher(
        icu::UnicodeString::fromUTF8(VELDomainCheck::convertWildcardToRegex(pattern)),
        UREGEX_CASE_INSENSITIVE, status);
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(domain);
    matcher.reset(text);
    const bool found = matcher.find(status) != 0;
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status) << " for " << pattern;
    return found;
}

/// Few letters, so that many patterns fit; those whose folding is several characters among them.
const std::vector<std::string> letters = {"a",      "A", "b",      "s", "S",      "k",
                                          "\u212A", "ß", "\u1E9E", "ſ", "İ",      "i",
                                          "ﬁ",      "f", "σ",      "ς", "\u0307", "٣"};
const std::vector<std::string> signs = {".", "-", "_"};
const std::vector<std::string> breaks = {"\n", "\r", "\u0085", "\u2028", "\v"};

class Generator {
public:
    explicit Generator(std::uint32_t seed) : _engine(seed) {}

    std::string pattern() {
        std::string text;
        for (std::size_t left = 1 + below(8); left > 0; --left) {
            text += below(4) == 0 ? "*" : pick();
        }
        return text;
    }

    std::string domain() {
        std::string text;
        for (std::size_t left = below(16); left > 0; --left) {
            text += below(20) == 0 ? breaks[below(breaks.size())] : pick();
        }
        return text;
    }

    void useLetters(std::size_t count) { _letterCount = count; }
    std::size_t below(std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(_engine);
    }

private:
    const std::string& pick() {
        return below(6) == 0 ? signs[below(signs.size())] : letters[below(_letterCount)];
    }

    std::mt19937 _engine;
    std::size_t _letterCount = letters.size();
};

TEST(VELWildcardAgainstEngine, AgreesOnGeneratedPairs) {
    Generator generator(20);
    int found = 0;
    constexpr int pairs = 30'000;
    for (int pair = 0; pair < pairs; ++pair) {
        generator.useLetters(2 + generator.below(letters.size() - 1));
        const std::string pattern = generator.pattern();
        const std::string domain = generator.domain();
        const bool expected = engineFinds(pattern, domain);
        found += expected ? 1 : 0;
        ASSERT_EQ(vel::matchesWildcard(pattern, domain), expected)
            << testing::PrintToString(pattern) << " in " << testing::PrintToString(domain);
    }
    // Neither answer is rare, or the agreement would say little.
    EXPECT_GT(found, pairs / 10);
    EXPECT_LT(found, pairs * 9 / 10);
}

} // namespace
