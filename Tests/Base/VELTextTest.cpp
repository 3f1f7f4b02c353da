// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using std::weak_ordering;

std::string nameOf(weak_ordering order) {
    return order < 0 ? "less" : order > 0 ? "greater" : "equivalent";
}

void expectOrder(std::string_view left, weak_ordering expected, std::string_view right) {
    EXPECT_EQ(nameOf(vel::compareNumerically(left, right)), nameOf(expected))
        << "\"" << left << "\" against \"" << right << "\"";
    const weak_ordering reversed = expected < 0   ? weak_ordering::greater
                                   : expected > 0 ? weak_ordering::less
                                                  : weak_ordering::equivalent;
    EXPECT_EQ(nameOf(vel::compareNumerically(right, left)), nameOf(reversed))
        << "\"" << right << "\" against \"" << left << "\"";
}

TEST(CompareNumerically, Table) {
    struct Row {
        const char* left;
        weak_ordering order;
        const char* right;
    };
    const Row rows[] = {
        {"10.9", weak_ordering::less, "10.10"},
        {"11.2.3", weak_ordering::equivalent, "11.2.3"},
        {"10.15.0", weak_ordering::greater, "10.15"},
        {"12", weak_ordering::greater, "11.7.10"},
        {"1.01", weak_ordering::equivalent, "1.1"},
        {"007", weak_ordering::equivalent, "7"},
        {"0", weak_ordering::equivalent, "000"},
        {"", weak_ordering::equivalent, ""},
        {"", weak_ordering::less, "x"},
        {"", weak_ordering::less, "0"},
        // A digit and something else: by code.
        {"1a", weak_ordering::greater, "1."},
        {"1a", weak_ordering::less, "12"},
        {"1.", weak_ordering::less, "12"},
        {".5", weak_ordering::less, "5"},
        {"a", weak_ordering::greater, "9"},
        {"-1", weak_ordering::less, "1"},
        {"-1", weak_ordering::less, "-2"},
        // Letters by code, case included.
        {"14.0B1", weak_ordering::less, "14.0b1"},
        {"14.0b2", weak_ordering::less, "14.0b10"},
        {" 12", weak_ordering::less, "12"},
        // Equal runs of different length, with something after them.
        {"01.2", weak_ordering::less, "1.3"},
        {"1.002x", weak_ordering::less, "1.2y"},
        {"1.002", weak_ordering::less, "1.2y"},
        // Beyond 64 bits, by value.
        {"18446744073709551616", weak_ordering::greater, "0"},
        {"18446744073709551616", weak_ordering::greater, "18446744073709551615"},
        {"99999999999999999999999999", weak_ordering::less, "100000000000000000000000000"},
        {"0099999999999999999999999999", weak_ordering::less, "100000000000000000000000000"},
        // Digits that are not ASCII are no numbers: U+0661 and U+0662, U+FF11 and U+FF12.
        {"\u0661\u0660", weak_ordering::less, "\u0662"},
        {"\uFF11\uFF10", weak_ordering::less, "\uFF12"},
        {"9", weak_ordering::less, "\u0661"},
    };
    for (const Row& row : rows) {
        expectOrder(row.left, row.order, row.right);
    }
}

TEST(CompareNumerically, OrdersByUTF16Unit) {
    // As UTF-16, U+10000 begins with D800: before U+E000 to U+FFFF, after all others.
    expectOrder("\U00010000", weak_ordering::less, "\uE000");
    expectOrder("\U0010FFFF", weak_ordering::less, "\uE000");
    expectOrder("\U0010FFFF", weak_ordering::less, "\uFFFF");
    expectOrder("\uD7FF", weak_ordering::less, "\U00010000");
    expectOrder("\uE000", weak_ordering::less, "\uFFFF");
    expectOrder("\U00010000", weak_ordering::less, "\U00010001");
    expectOrder("\U00010400", weak_ordering::greater, "\U000103FF");
    expectOrder("\u00FF", weak_ordering::less, "\u0100");
    expectOrder("\u07FF", weak_ordering::less, "\u0800");
}

/// The comparison over UTF-16, from its description: the independent answer.
weak_ordering compareUnits(const std::u16string& left, const std::u16string& right) {
    std::size_t i = 0;
    std::size_t j = 0;
    const auto isDigit = [](char16_t unit) { return unit >= u'0' && unit <= u'9'; };
    while (i < left.size() && j < right.size()) {
        if (isDigit(left[i]) && isDigit(right[j])) {
            unsigned long leftValue = 0;
            unsigned long rightValue = 0;
            for (; i < left.size() && isDigit(left[i]); ++i) {
                leftValue = leftValue * 10 + (left[i] - u'0');
            }
            for (; j < right.size() && isDigit(right[j]); ++j) {
                rightValue = rightValue * 10 + (right[j] - u'0');
            }
            if (leftValue != rightValue) {
                return leftValue <=> rightValue;
            }
        } else if (left[i] != right[j]) {
            return left[i] <=> right[j];
        } else {
            ++i;
            ++j;
        }
    }
    return (left.size() - i) <=> (right.size() - j);
}

struct BothForms {
    std::string utf8;
    std::u16string utf16;
};

BothForms randomText(std::mt19937& random) {
    static const BothForms letters[] = {
        {"0", u"0"},           {"0", u"0"},           {"1", u"1"},
        {"9", u"9"},           {".", u"."},           {"a", u"a"},
        {"B", u"B"},           {"-", u"-"},           {"\u00E9", u"\u00E9"},
        {"\uD7FF", u"\uD7FF"}, {"\uE000", u"\uE000"}, {"\U0001F600", u"\U0001F600"},
    };
    BothForms text;
    for (auto length = random() % 7; length > 0; --length) {
        const BothForms& letter = letters[random() % std::size(letters)];
        text.utf8 += letter.utf8;
        text.utf16 += letter.utf16;
    }
    return text;
}

TEST(CompareNumerically, AgreesWithUTF16) {
    std::mt19937 random(20260101);
    for (int round = 0; round < 20'000; ++round) {
        const BothForms left = randomText(random);
        const BothForms right = randomText(random);
        expectOrder(left.utf8, compareUnits(left.utf16, right.utf16), right.utf8);
    }
}

TEST(CompareNumerically, IsAWeakOrder) {
    std::mt19937 random(20260102);
    for (int round = 0; round < 20'000; ++round) {
        const std::string a = randomText(random).utf8;
        const std::string b = randomText(random).utf8;
        const std::string c = randomText(random).utf8;
        expectOrder(a, weak_ordering::equivalent, a);
        const auto ab = vel::compareNumerically(a, b);
        const auto bc = vel::compareNumerically(b, c);
        if (ab <= 0 && bc <= 0) {
            const auto expected =
                ab < 0 || bc < 0 ? weak_ordering::less : weak_ordering::equivalent;
            ASSERT_EQ(nameOf(vel::compareNumerically(a, c)), nameOf(expected))
                << a << " | " << b << " | " << c;
        }
    }
}

TEST(CompareNumerically, LongRuns) {
    const std::string nines(100'000, '9');
    const std::string zeros(100'000, '0');
    expectOrder(nines, weak_ordering::less, "1" + zeros);
    expectOrder(zeros + nines, weak_ordering::equivalent, nines);
    expectOrder(nines + "1", weak_ordering::less, nines + "2");
    expectOrder(zeros, weak_ordering::equivalent, "0");
    expectOrder(zeros + "1", weak_ordering::greater, "0");
}

TEST(UTF8, Validity) {
    for (const std::string_view valid :
         {std::string_view(""), std::string_view("plain"), std::string_view("\0", 1),
          std::string_view("\x7F"), std::string_view("\xC2\x80"), std::string_view("\xED\x9F\xBF"),
          std::string_view("\xEE\x80\x80"), std::string_view("\xEF\xBF\xBF"),
          std::string_view("\xF4\x8F\xBF\xBF")}) {
        EXPECT_TRUE(vel::isValidUTF8(valid)) << testing::PrintToString(valid);
        EXPECT_EQ(vel::validUTF8(valid), valid);
    }
}

TEST(UTF8, EachStrayByteIsReplaced) {
    struct Row {
        const char* text;
        const char* valid;
    };
    const Row rows[] = {
        {"\xFF", "\uFFFD"},
        {"a\x80z", "a\uFFFDz"},
        {"\xC0\xAF", "\uFFFD\uFFFD"},                     // overlong "/"
        {"\xE0\x80\xAF", "\uFFFD\uFFFD\uFFFD"},           // overlong "/"
        {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},           // surrogate D800
        {"\xED\xBF\xBF", "\uFFFD\uFFFD\uFFFD"},           // surrogate DFFF
        {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // U+110000
        {"\xF8\x88\x80\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
        {"\xE2\x82", "\uFFFD\uFFFD"}, // the end is missing
        {"\xE2\x82x", "\uFFFD\uFFFDx"},
        {"\xE2\xC3\xA9", "\uFFFD\u00E9"},
    };
    for (const Row& row : rows) {
        EXPECT_FALSE(vel::isValidUTF8(row.text)) << testing::PrintToString(row.text);
        EXPECT_EQ(vel::validUTF8(row.text), row.valid) << testing::PrintToString(row.text);
    }
}

TEST(UTF8, WhateverTheBytesTheResultIsValid) {
    std::mt19937 random(20260103);
    constexpr std::array<char, 8> bytes = {'a',    '\x80', '\xBF', '\xC3',
                                           '\xE2', '\xED', '\xF0', '\xFF'};
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        for (auto length = random() % 8; length > 0; --length) {
            text += bytes[random() % bytes.size()];
        }
        const std::string valid = vel::validUTF8(text);
        ASSERT_TRUE(vel::isValidUTF8(valid)) << testing::PrintToString(text);
        ASSERT_EQ(vel::isValidUTF8(text), valid == text) << testing::PrintToString(text);
    }
}

TEST(Lowercase, FullMappingWithoutLocale) {
    EXPECT_EQ(vel::lowercase(""), "");
    EXPECT_EQ(vel::lowercase("Device_Serial_NUMBER 09"), "device_serial_number 09");
    EXPECT_EQ(vel::lowercase("\u00C4\u0416\u03A9"), "\u00E4\u0436\u03C9");
    EXPECT_EQ(vel::lowercase("\u0130"), "i\u0307");  // I with a dot above
    EXPECT_EQ(vel::lowercase("I\u0131"), "i\u0131"); // dotless i stays
    EXPECT_EQ(vel::lowercase("\u212A"), "k");        // the Kelvin sign
    EXPECT_EQ(vel::lowercase("\u1E9E"), "\u00DF");   // capital sharp s
    EXPECT_EQ(vel::lowercase("\U00010400"), "\U00010428");
    EXPECT_EQ(vel::lowercase("A\xFFZ"), "a\uFFFDz");
    EXPECT_EQ(vel::lowercase(std::string_view("A\0B", 3)), std::string_view("a\0b", 3));
}

TEST(Lowercase, ASigmaAtTheEndOfAWord) {
    const std::pair<const char*, const char*> words[] = {
        {"ΟΔΟΣ", "οδος"},
        {"ΟΔΟΣ 1\nΣΑΣ", "οδος 1\nσας"},
        {"Σ", "σ"},
        {" Σ ", " σ "},
        {"1Σ", "1σ"},
        {"ΑΣΑ", "ασα"},
        {"ΑΣΣ", "ασς"},
        {"aΣ", "aς"},
        {"ΑΣ1", "ας1"},
        {"ΑΣ.APP", "ασ.app"}, // a full stop may stand inside of a word
        {"ΑΣ. APP", "ας. app"},
        {"Α.Σ", "α.ς"},
        {"Α\u0301Σ\u0301", "α\u0301ς\u0301"},
        {"ΑΣ\u0301Α", "ασ\u0301α"},
        {"中Σ", "中σ"},
        {"Α\xFFΣ", "α\uFFFDσ"},
        {"Α\x80Σ\xFFΑ", "α\uFFFDσ\uFFFDα"},
        {"ΑΣ\xFFΑ", "ας\uFFFDα"},
        {"οδοσ", "οδοσ"}, // what is in lower case already stays
    };
    for (const auto& [word, lower] : words) {
        EXPECT_EQ(vel::lowercase(word), lower);
    }
}

TEST(AppendHexadecimal, AddsTwoDigitsOfEveryByte) {
    std::string text = "=";
    for (const int byte : {0x00, 0x09, 0x0A, 0x1F, 0x80, 0xFF}) {
        vel::appendHexadecimal(static_cast<std::uint8_t>(byte), text);
    }
    EXPECT_EQ(text, "=00090a1f80ff");
}

TEST(Text, UTF16IsReadByItsUnits) {
    using namespace std::string_view_literals;
    EXPECT_EQ(vel::textOfUTF16(""), "");
    EXPECT_EQ(vel::textOfUTF16("\0A\xE0\0"sv), "A\xEE\x80\x80");
    EXPECT_EQ(vel::textOfUTF16("\xD8\x3D\xDE\0"sv), "\U0001F600");
    EXPECT_EQ(vel::textOfUTF16("\xD8\0\xDC\0\xDB\xFF\xDF\xFF"sv), "\U00010000\U0010FFFF");
    for (const auto text : {"A"sv, "\xD8\x3D"sv, "\xD8\x3D\0A"sv, "\xDE\0\0A"sv, "\xDC\0\xDC\0"sv,
                            "\xD8\0\xE0\0"sv}) {
        EXPECT_EQ(vel::textOfUTF16(text), std::nullopt);
    }
}

TEST(Text, BytesAreWrittenAsEscapes) {
    std::string text = "a";
    vel::appendByteEscape('\xFA', text);
    vel::appendByteEscape('\x01', text);
    EXPECT_EQ(text, "a\\xFA\\x01");
}

} // namespace
