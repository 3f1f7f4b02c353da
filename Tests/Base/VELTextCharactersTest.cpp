// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace {

using namespace std::string_literals;

using Limits = std::numeric_limits<std::int64_t>;

TEST(VELTextCharacters, AreThoseOfTheText) {
    EXPECT_EQ(vel::characters(""), U"");
    EXPECT_EQ(vel::characters("aß€😀"), U"aß€😀");
    EXPECT_EQ(vel::characters("a\xFF\xC3z"), U"a\uFFFD\uFFFDz");
}

TEST(VELTextCharacters, FoldFully) {
    EXPECT_EQ(vel::foldCase(U'A'), U"a");
    EXPECT_EQ(vel::foldCase(U'a'), U"a");
    EXPECT_EQ(vel::foldCase(U'-'), U"-");
    EXPECT_EQ(vel::foldCase(U'ß'), U"ss");
    EXPECT_EQ(vel::foldCase(U'ς'), U"σ");
    EXPECT_EQ(vel::foldCase(U'İ'), U"i\u0307");
    EXPECT_EQ(vel::foldCase(U'\u212A'), U"k");
    EXPECT_EQ(vel::foldCase(U'ﬃ'), U"ffi");
    EXPECT_EQ(vel::foldCase(U'\U00010400'), U"\U00010428");
}

TEST(VELTextCharacters, AreAlphanumericByCategory) {
    for (const char32_t character : U"azAZ09éßǅʰ中\u0301\u0903\u20DD٣Ⅷ½\U0001D7D8"s) {
        EXPECT_TRUE(vel::isAlphanumeric(character)) << std::hex << std::uint32_t{character};
    }
    for (const char32_t character : U".*-_?,[]()\\ \t\n\u00A0$+©😀\uFFFD\uE000\u0378\u200D"s) {
        EXPECT_FALSE(vel::isAlphanumeric(character)) << std::hex << std::uint32_t{character};
    }
}

TEST(VELTextCharacters, AreDecimalDigitsOfAnyScript) {
    EXPECT_TRUE(vel::isDecimalDigit(U'7'));
    EXPECT_TRUE(vel::isDecimalDigit(U'٣'));
    EXPECT_TRUE(vel::isDecimalDigit(U'\uFF11'));
    EXPECT_FALSE(vel::isDecimalDigit(U'²'));
    EXPECT_FALSE(vel::isDecimalDigit(U'Ⅷ'));
    EXPECT_FALSE(vel::isDecimalDigit(U'x'));
}

TEST(VELTextCharacters, EndLines) {
    for (const char32_t character : U"\n\v\f\r\u0085\u2028\u2029"s) {
        EXPECT_TRUE(vel::isLineTerminator(character)) << std::hex << std::uint32_t{character};
    }
    for (const char32_t character : U"\t \u001C\u0084\u2027\u202A"s) {
        EXPECT_FALSE(vel::isLineTerminator(character)) << std::hex << std::uint32_t{character};
    }
}

TEST(VELTextIntegerValue, ReadsTheFront) {
    EXPECT_EQ(vel::integerValue("42"), 42);
    EXPECT_EQ(vel::integerValue("  501 ttys000"), 501);
    EXPECT_EQ(vel::integerValue("\t\n\u00A0\u2028\u3000 7"), 7);
    EXPECT_EQ(vel::integerValue("+5"), 5);
    EXPECT_EQ(vel::integerValue("-5"), -5);
    EXPECT_EQ(vel::integerValue("007x"), 7);
    EXPECT_EQ(vel::integerValue("1.5"), 1);
    EXPECT_EQ(vel::integerValue("0x10"), 0);
    EXPECT_EQ(vel::integerValue("1٢"), 1);
}

TEST(VELTextIntegerValue, IsZeroWithoutDigits) {
    for (const char* text : {"", " ", "-", "+-5", "- 5", "PID TTY", "x1", "٣",
                             "\xFF"
                             "1"}) {
        EXPECT_EQ(vel::integerValue(text), 0) << text;
    }
}

TEST(VELTextIntegerValue, Saturates) {
    EXPECT_EQ(vel::integerValue("9223372036854775806"), Limits::max() - 1);
    EXPECT_EQ(vel::integerValue("9223372036854775807"), Limits::max());
    EXPECT_EQ(vel::integerValue("9223372036854775808"), Limits::max());
    EXPECT_EQ(vel::integerValue("-9223372036854775807"), Limits::min() + 1);
    EXPECT_EQ(vel::integerValue("-9223372036854775808"), Limits::min());
    EXPECT_EQ(vel::integerValue("-9223372036854775809"), Limits::min());
    EXPECT_EQ(vel::integerValue(std::string(1000, '9')), Limits::max());
    EXPECT_EQ(vel::integerValue("-" + std::string(1000, '9')), Limits::min());
    EXPECT_EQ(vel::integerValue(std::string(1000, '0') + "3"), 3);
}

} // namespace
