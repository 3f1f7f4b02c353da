// SPDX-License-Identifier: Apache-2.0
#include "Base/VELWildcard.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

bool fits(std::string_view pattern, std::string_view text) {
    return vel::matchesWildcard(pattern, text);
}

TEST(VELWildcard, FitsAnywhere) {
    EXPECT_TRUE(fits("corp", "eu.corp.sample.test"));
    EXPECT_TRUE(fits("sample.test", "sample.test.other.test"));
    EXPECT_TRUE(fits("corp.sample.tes", "corp.sample.test"));
    EXPECT_FALSE(fits("corpXsample.test", "corp.sample.test"));
    EXPECT_FALSE(fits("corp.sample.test.", "corp.sample.test"));
    EXPECT_FALSE(fits("a", ""));
}

TEST(VELWildcard, FitsStarsToAnyRun) {
    EXPECT_TRUE(fits("*", "corp"));
    EXPECT_TRUE(fits("*", ""));
    EXPECT_TRUE(fits("***", "corp"));
    EXPECT_TRUE(fits("c*p", "corp"));
    EXPECT_TRUE(fits("co*rp", "corp"));
    EXPECT_TRUE(fits("**c**p**", "corp"));
    EXPECT_FALSE(fits("p*c", "corp"));
    EXPECT_FALSE(fits("cor*rp", "corp")); // the pieces do not overlap
    EXPECT_FALSE(fits("a*a", "a"));
    EXPECT_TRUE(fits("ab*ab*c", "abababc"));
}

TEST(VELWildcard, FitsNothingWhenEmpty) {
    EXPECT_FALSE(fits("", "corp"));
    EXPECT_FALSE(fits("", ""));
}

TEST(VELWildcard, FindsWhatBeginsWithinAFailedBeginning) {
    EXPECT_TRUE(fits("aab", "aaab"));
    EXPECT_TRUE(fits("abacabab", "abacabacabab"));
    EXPECT_TRUE(fits("ana*nas", "banana-ananas"));
}

TEST(VELWildcard, FoldsCase) {
    EXPECT_TRUE(fits("CORP.sample.TEST", "corp.SAMPLE.test"));
    EXPECT_TRUE(fits("STRASSE", "straße"));
    EXPECT_TRUE(fits("straße", "STRASSE"));
    EXPECT_TRUE(fits("\u1E9E", "ß"));
    EXPECT_TRUE(fits("ΟΔΟΣ", "οδος"));
    EXPECT_TRUE(fits("\u212A", "k"));
    EXPECT_FALSE(fits("ı", "I"));
    EXPECT_TRUE(fits("i\u0307", "İ"));
    EXPECT_FALSE(fits("e\u0301", "\u00E9")); // no normalisation
}

TEST(VELWildcard, NeverFitsAPartOfACharacter) {
    EXPECT_FALSE(fits("s", "ß"));
    EXPECT_FALSE(fits("s*s", "ß"));
    EXPECT_FALSE(fits("i", "İ"));
    EXPECT_FALSE(fits("f", "ﬃ"));
    EXPECT_FALSE(fits("fi", "ﬃ"));
    EXPECT_TRUE(fits("ffi", "ﬃ"));
    EXPECT_TRUE(fits("ss", "sß")); // not the first two of "sss", but the last two
    EXPECT_TRUE(fits("ss*s", "ßs"));
    EXPECT_FALSE(fits("ss*s", "sß"));
    EXPECT_FALSE(fits("s", std::string_view("ß\0x", 4))); // a NUL behind the part
}

TEST(VELWildcard, StaysWithinALine) {
    for (const char* terminator : {"\n", "\v", "\f", "\r", "\r\n", "\u0085", "\u2028", "\u2029"}) {
        const std::string text = std::string("corp") + terminator + "sample";
        EXPECT_TRUE(fits("corp", text)) << testing::PrintToString(text);
        EXPECT_TRUE(fits("s*e", text)) << testing::PrintToString(text);
        EXPECT_TRUE(fits("*", text)) << testing::PrintToString(text);
        EXPECT_FALSE(fits("corp*sample", text)) << testing::PrintToString(text);
        EXPECT_FALSE(fits("corpsample", text)) << testing::PrintToString(text);
    }
    EXPECT_TRUE(fits("corp*sample", "corp\u2027sample"));
    EXPECT_TRUE(fits("*", "\n"));
    EXPECT_FALSE(fits("a*b", "a\nb\na\nb"));
    EXPECT_TRUE(fits("a*b", "a\nb\na-b\nb"));
}

} // namespace
