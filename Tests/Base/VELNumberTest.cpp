// SPDX-License-Identifier: Apache-2.0
#include "Base/VELNumber.h"

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace {

double numberIn(std::string_view text) {
    double number = -7;
    EXPECT_EQ(vel::readDecimal(text, number), std::errc()) << text;
    return number;
}

std::errc failureOf(std::string_view text) {
    double number = -7;
    const std::errc failure = vel::readDecimal(text, number);
    EXPECT_EQ(number, -7) << text;
    return failure;
}

TEST(Decimal, IsDigitsWithASignAPointAndAnExponent) {
    EXPECT_EQ(numberIn("0"), 0.0);
    EXPECT_EQ(numberIn("-1.5"), -1.5);
    EXPECT_EQ(numberIn(".5"), 0.5);
    EXPECT_EQ(numberIn("5."), 5.0);
    EXPECT_EQ(numberIn("007"), 7.0);
    EXPECT_EQ(numberIn("1e3"), 1000.0);
    EXPECT_EQ(numberIn("25E-1"), 2.5);
    EXPECT_EQ(numberIn("1e+2"), 100.0);
    EXPECT_EQ(numberIn("0e999999"), 0.0);
    EXPECT_TRUE(std::signbit(numberIn("-0.0")));
    EXPECT_EQ(numberIn("4.9e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(numberIn("1.7976931348623157e308"), std::numeric_limits<double>::max());
}

TEST(Decimal, IsNothingElse) {
    for (const std::string_view text :
         {"",    " ",        "-",     ".",   "-.",  "e5",      "1e",    "1e+",
          "+1",  "--1",      " 1",    "1 ",  "1,5", "0x10",    "0x1p3", "inf",
          "nan", "infinity", "1.2.3", "1_0", "1f",  "\xD9\xA3"}) {
        EXPECT_EQ(failureOf(text), std::errc::invalid_argument) << text;
    }
    EXPECT_EQ(failureOf(std::string_view("1\0", 2)), std::errc::invalid_argument);
}

TEST(Decimal, ThatIsTooLargeOrTooSmallIsOutOfRange) {
    for (const std::string_view text : {"1e309", "-1e309", "1e999999", "1e-400", "-0.1e-999"}) {
        EXPECT_EQ(failureOf(text), std::errc::result_out_of_range) << text;
    }
}

TEST(Decimal, IsReadToTheLastBit) {
    std::mt19937_64 random(20260401);
    for (int round = 0; round < 20'000; ++round) {
        const auto number = std::bit_cast<double>(random());
        if (std::isfinite(number)) {
            char text[40];
            const auto end = std::to_chars(std::begin(text), std::end(text), number).ptr;
            ASSERT_EQ(std::bit_cast<std::uint64_t>(numberIn({text, end})),
                      std::bit_cast<std::uint64_t>(number));
        }
    }
}

TEST(Decimal, DoesNotDependOnTheLocale) {
    const std::string before = std::setlocale(LC_NUMERIC, nullptr);
    for (const char* locale : {"de_DE.UTF-8", "ps_AF.UTF-8", "fr_FR.UTF-8", "C.UTF-8", "C"}) {
        if (std::setlocale(LC_NUMERIC, locale) != nullptr) {
            EXPECT_EQ(numberIn("1.5"), 1.5) << locale;
            EXPECT_EQ(failureOf("1,5"), std::errc::invalid_argument) << locale;
        }
    }
    std::setlocale(LC_NUMERIC, before.c_str());
}

} // namespace
