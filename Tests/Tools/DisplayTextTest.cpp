// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/DisplayText.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

using Lines = std::vector<std::string_view>;

TEST(DisplayText, EscapesWhatSteersATerminal) {
    EXPECT_EQ(printable("plain ~ text"), "plain ~ text");
    EXPECT_EQ(printable("é 日本 😀 e\u0301"), "é 日本 😀 e\u0301");
    EXPECT_EQ(printable("a\tb\nc\rd"), "a\\tb\\nc\\rd");
    EXPECT_EQ(printable("\x1b[2J\x07\x7f"), "\\u001b[2J\\u0007\\u007f");
    EXPECT_EQ(printable(std::string("\0x", 2)), "\\u0000x");
    EXPECT_EQ(printable("\u009b2J"), "\\u009b2J");
    EXPECT_EQ(printable("\u202eabc\u2066\u200b\u2028"), "\\u202eabc\\u2066\\u200b\\u2028");
    EXPECT_EQ(printable("\U000E0041"), "\\udb40\\udc41");
    EXPECT_EQ(printable("\uFFFE\uFFFF\uFFFC\U0010FFFF"), "\\ufffe\\uffff\uFFFC\\udbff\\udfff");
    EXPECT_EQ(printable("a\xff\xc3"), "a\uFFFD\uFFFD");
    EXPECT_EQ(printable(""), "");
}

TEST(DisplayText, KeepsJSONTheSameJSON) {
    const nlohmann::json value = "\x1b\u009b\U000E0041 \u202e \" \\ é";
    EXPECT_EQ(nlohmann::json::parse(printable(value.dump())), value);
}

TEST(DisplayText, WritesNumbersOfEverySize) {
    EXPECT_EQ(decimalText(0, 3), "0.000");
    EXPECT_EQ(decimalText(1234.56789, 3), "1234.568");
    EXPECT_EQ(decimalText(1e308, 6).size(), 309U + 7U);
}

TEST(DisplayText, CountsColumns) {
    EXPECT_EQ(displayWidth(""), 0U);
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("né"), 2U);
    EXPECT_EQ(displayWidth("e\u0301"), 1U);
    EXPECT_EQ(displayWidth("日本"), 4U);
}

TEST(DisplayText, TruncatesAtTheEnd) {
    EXPECT_EQ(truncated("abcdef", 6), "abcdef");
    EXPECT_EQ(truncated("abcdefg", 6), "abcde…");
    EXPECT_EQ(truncated("日本語", 6), "日本語");
    EXPECT_EQ(truncated("日本語", 5), "日本…");
    EXPECT_EQ(truncated("日本語", 4), "日…");
    EXPECT_EQ(truncated("ab", 1), "…");
}

TEST(DisplayText, PadsByColumns) {
    EXPECT_EQ(padded("ab", 4), "ab  ");
    EXPECT_EQ(padded("日", 4), "日  ");
    EXPECT_EQ(padded("abcde", 4), "abcde");
}

TEST(DisplayText, WrapsAtSpaces) {
    EXPECT_EQ(wrapped("", 10), Lines{""});
    EXPECT_EQ(wrapped("one two", 7), Lines{"one two"});
    EXPECT_EQ(wrapped("one two three", 7), (Lines{"one two", "three"}));
    EXPECT_EQ(wrapped("one two three", 9), (Lines{"one two", "three"}));
    EXPECT_EQ(wrapped("one   two", 4), (Lines{"one", "two"}));
    EXPECT_EQ(wrapped("one  ", 4), Lines{"one"});
    EXPECT_EQ(wrapped("日本 語", 5), (Lines{"日本", "語"}));
}

TEST(DisplayText, BreaksWordsThatAreTooLong) {
    EXPECT_EQ(wrapped("abcdefgh", 3), (Lines{"abc", "def", "gh"}));
    EXPECT_EQ(wrapped("  abcdef", 4), (Lines{"  ab", "cdef"}));
    EXPECT_EQ(wrapped("日本語", 5), (Lines{"日本", "語"}));
    EXPECT_EQ(wrapped("e\u0301e\u0301", 1), (Lines{"e\u0301", "e\u0301"}));
    EXPECT_EQ(wrapped("日本", 1), (Lines{"日", "本"}));
}

TEST(DisplayText, WrapsLongTexts) {
    const std::string text(4'000'000, 'x');
    EXPECT_EQ(wrapped(text, 40).size(), 100'000U);
}

} // namespace
