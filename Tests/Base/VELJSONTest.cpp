// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Tests/Support/Sanitized.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace {

using namespace std::string_literals;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

VELValue read(std::string_view text) {
    std::optional<VELError> error;
    auto value = vel::readJSON(text, &error);
    EXPECT_TRUE(value) << text.substr(0, 100) << ": " << (error ? error->message() : "no error");
    EXPECT_FALSE(error);
    return value ? *std::move(value) : VELValue("nothing was read");
}

/// The text of the error that reading yields.
std::string readingError(std::string_view text) {
    std::optional<VELError> error;
    EXPECT_FALSE(vel::readJSON(text, &error)) << text.substr(0, 100);
    if (!error) {
        ADD_FAILURE() << "no error";
        return {};
    }
    EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
    EXPECT_EQ(error->code(), 3840);
    EXPECT_EQ(error->userInfo(), VELValue({{"NSLocalizedDescription", error->message()}}));
    return error->message();
}

std::string written(const VELValue& value) {
    std::optional<VELError> error;
    auto text = vel::writeJSON(value, &error);
    EXPECT_TRUE(text) << (error ? error->message() : "no error");
    EXPECT_FALSE(error);
    return text.value_or("nothing was written");
}

std::string nested(std::size_t depth, const std::string& innermost = "") {
    return std::string(depth, '[') + innermost + std::string(depth, ']');
}

TEST(ReadJSON, EveryKindOfValue) {
    const VELValue value = read(R"( {"n":null,"t":true,"f":false,"i":-3,"u":7,"d":0.5,"s":"x",)"
                                "\n\t\r"
                                R"("a":[1,[]],"o":{"k":{}}} )");
    EXPECT_EQ(value.size(), 9U);
    EXPECT_TRUE(value["n"].is_null());
    EXPECT_TRUE(value["t"].get<bool>());
    EXPECT_FALSE(value["f"].get<bool>());
    EXPECT_EQ(value["i"].get<std::int64_t>(), -3);
    EXPECT_TRUE(value["u"].is_number_unsigned());
    EXPECT_EQ(value["u"].get<std::uint64_t>(), 7U);
    EXPECT_EQ(value["d"].get<double>(), 0.5);
    EXPECT_EQ(value["s"].get<std::string>(), "x");
    EXPECT_EQ(value["a"].dump(), "[1,[]]");
    EXPECT_EQ(value["o"].dump(), R"({"k":{}})");
    EXPECT_EQ(read("null"), VELValue(nullptr));
    EXPECT_EQ(read("\"top\""), VELValue("top"));
}

TEST(ReadJSON, ANullErrorIsAllowed) {
    EXPECT_FALSE(vel::readJSON("{", nullptr));
}

TEST(ReadJSON, Strings) {
    EXPECT_EQ(read(R"("\"\\\/\b\f\n\r\t\u0041")").get<std::string>(), "\"\\/\b\f\n\r\tA");
    EXPECT_EQ(read(R"("\u0000")").get<std::string>(), "\0"s);
    EXPECT_EQ(read(R"("\ud83d\ude00")").get<std::string>(), "\U0001F600");
    EXPECT_EQ(read("\"\U0001F600\u00E9\uFFFF\"").get<std::string>(), "\U0001F600\u00E9\uFFFF");
    EXPECT_EQ(read("\"\x7F\"").get<std::string>(), "\x7F");
}

TEST(ReadJSON, AByteOrderMarkMayStandInFront) {
    EXPECT_EQ(read("\xEF\xBB\xBF{\"a\":1}").dump(), R"({"a":1})");
}

TEST(ReadJSON, OfEqualKeysTheLastOneCounts) {
    EXPECT_EQ(read(R"({"a":1,"a":2})").dump(), R"({"a":2})");
    EXPECT_EQ(read(R"({"a":{"b":1},"c":0,"a":{"d":{"a":9}},"e":1})").dump(),
              R"({"a":{"d":{"a":9}},"c":0,"e":1})");
    EXPECT_EQ(read(R"({"a":[1,2],"a":[],"a":null})").dump(), R"({"a":null})");
    EXPECT_EQ(read(R"({"a":1,"\u0061":2})").dump(), R"({"a":2})");
    EXPECT_EQ(read(R"([{"a":1,"a":[{"a":3,"a":4}]},5])").dump(), R"([{"a":[{"a":4}]},5])");
}

TEST(ReadJSON, Integers) {
    const auto minimum = read("-9223372036854775808");
    EXPECT_TRUE(minimum.is_number_integer());
    EXPECT_EQ(minimum.get<std::int64_t>(), std::numeric_limits<std::int64_t>::min());
    const auto maximum = read("9223372036854775807");
    EXPECT_TRUE(maximum.is_number_integer());
    EXPECT_EQ(maximum.get<std::int64_t>(), std::numeric_limits<std::int64_t>::max());
    const auto unsignedMaximum = read("18446744073709551615");
    EXPECT_TRUE(unsignedMaximum.is_number_unsigned());
    EXPECT_EQ(unsignedMaximum.get<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
    for (const char* text :
         {"-9223372036854775808", "-9007199254740993", "-1", "0", "1", "9007199254740993",
          "9223372036854775807", "9223372036854775808", "18446744073709551615"}) {
        EXPECT_EQ(written(read(text)), text);
    }
}

TEST(ReadJSON, IntegersBeyond64BitsAreDoubles) {
    EXPECT_TRUE(read("18446744073709551616").is_number_float());
    EXPECT_EQ(read("18446744073709551616").get<double>(), 0x1p64);
    EXPECT_TRUE(read("-9223372036854775809").is_number_float());
    EXPECT_EQ(read("-9223372036854775809").get<double>(), -0x1p63);
    EXPECT_EQ(read("1" + std::string(308, '0')).get<double>(), 1e308);
}

TEST(ReadJSON, ZeroKeepsItsSign) {
    for (const char* text : {"-0", "-0.0", "-0e5", "-1e-400"}) {
        const VELValue zero = read(text);
        ASSERT_TRUE(zero.is_number_float()) << text;
        EXPECT_EQ(zero.get<double>(), 0.0);
        EXPECT_TRUE(std::signbit(zero.get<double>())) << text;
        EXPECT_EQ(written(zero), "-0.0");
    }
    EXPECT_EQ(written(read("0")), "0");
    EXPECT_FALSE(std::signbit(read("1e-400").get<double>()));
}

TEST(ReadJSON, DoublesAtTheEdges) {
    struct Row {
        const char* text;
        double value;
    };
    const Row rows[] = {
        {"0.1", 0.1},
        {"4.9406564584124654e-324", std::numeric_limits<double>::denorm_min()},
        {"5e-324", std::numeric_limits<double>::denorm_min()},
        {"2.2250738585072009e-308", 0x0.fffffffffffffp-1022},
        {"2.2250738585072011e-308", 0x0.fffffffffffffp-1022}, // famous for hanging readers
        {"2.2250738585072014e-308", std::numeric_limits<double>::min()},
        {"1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"1.7976931348623158e+308", std::numeric_limits<double>::max()},
        {"-1.7976931348623157E308", std::numeric_limits<double>::lowest()},
        {"9007199254740993.0", 9007199254740992.0},
        {"1e0", 1.0},
    };
    for (const Row& row : rows) {
        const VELValue number = read(row.text);
        ASSERT_TRUE(number.is_number_float()) << row.text;
        EXPECT_EQ(std::bit_cast<std::uint64_t>(number.get<double>()),
                  std::bit_cast<std::uint64_t>(row.value))
            << row.text;
    }
}

TEST(ReadJSON, NumbersThatNoDoubleHolds) {
    EXPECT_EQ(readingError("1e400"), "number overflow parsing '1e400' at byte 5");
    EXPECT_EQ(readingError("-1e400"), "number overflow parsing '-1e400' at byte 6");
    EXPECT_EQ(readingError("[1.8e308]"), "number overflow parsing '1.8e308' at byte 8");
    const std::string long1 = readingError(std::string(1'000'000, '9'));
    EXPECT_THAT(long1, StartsWith("number overflow parsing '99999"));
    EXPECT_THAT(long1, EndsWith("… at byte 1000000"));
    EXPECT_LT(long1.size(), 320U);
}

TEST(JSON, RandomDoublesRoundTripBitForBit) {
    std::mt19937_64 random(20260104);
    for (int round = 0; round < 50'000;) {
        const std::uint64_t bits = random();
        const auto number = std::bit_cast<double>(bits);
        if (!std::isfinite(number)) {
            continue;
        }
        ++round;
        const VELValue copy = read(written(VELValue(number)));
        ASSERT_TRUE(copy.is_number_float()) << number;
        ASSERT_EQ(std::bit_cast<std::uint64_t>(copy.get<double>()), bits) << number;
    }
}

TEST(JSON, DoublesIn17DigitsAreReadExactly) {
    std::mt19937_64 random(20260105);
    std::array<char, 64> text{};
    for (int round = 0; round < 50'000;) {
        const std::uint64_t bits = random();
        const auto number = std::bit_cast<double>(bits);
        if (!std::isfinite(number)) {
            continue;
        }
        ++round;
        std::snprintf(text.data(), text.size(), "%.16e", number);
        ASSERT_EQ(std::bit_cast<std::uint64_t>(read(text.data()).get<double>()), bits)
            << text.data();
    }
}

TEST(ReadJSON, RefusesWhatIsNotStrictJSON) {
    struct Row {
        std::string text;
        std::string error;
    };
    const std::string value = "syntax error while parsing value - ";
    const Row rows[] = {
        {"", "parse error at line 1, column 1: " + value +
                 "unexpected end of input; expected '[', '{', or a literal"},
        {" \n\t", "parse error at line 2, column 2: " + value +
                      "unexpected end of input; expected '[', '{', or a literal"},
        {"\xEF\xBB\xBF", "parse error at line 1, column 4: " + value +
                             "unexpected end of input; expected '[', '{', or a literal"},
        {"{} x", "parse error at line 1, column 4: " + value +
                     "invalid literal; last read: '{} x'; expected end of input"},
        {"{}{}",
         "parse error at line 1, column 3: " + value + "unexpected '{'; expected end of input"},
        {"{}\0"s, "a NUL byte follows the document at byte 3"},
        {"{} \0{\"a\":1}"s, "a NUL byte follows the document at byte 4"},
        {"[1,]", "parse error at line 1, column 4: " + value +
                     "unexpected ']'; expected '[', '{', or a literal"},
        {"{\"a\":1,}", "parse error at line 1, column 8: syntax error while parsing object key - "
                       "unexpected '}'; expected string literal"},
        {"[NaN]", "parse error at line 1, column 2: " + value + "invalid literal; last read: '[N'"},
        {"\"\xFF\"", "parse error at line 1, column 2: " + value +
                         "invalid string: ill-formed UTF-8 byte; last read: '\"\uFFFD'"},
        {R"("\ud800")", "parse error at line 1, column 8: " + value +
                            "invalid string: surrogate U+D800..U+DBFF must be followed by "
                            "U+DC00..U+DFFF; last read: '\"\\ud800\"'"},
        {R"("\udc00")", "parse error at line 1, column 7: " + value +
                            "invalid string: surrogate U+DC00..U+DFFF must follow U+D800..U+DBFF; "
                            "last read: '\"\\udc00'"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(readingError(row.text), row.error) << testing::PrintToString(row.text);
    }
}

TEST(ReadJSON, RefusesAndSaysWhere) {
    struct Row {
        std::string text;
        std::string place;
    };
    const Row rows[] = {
        {"// c\n{}", "line 1, column 1"},
        {"{/* c */}", "line 1, column 2"},
        {"[Infinity]", "line 1, column 2"},
        {"[-Infinity]", "line 1, column 3"},
        {"[nan]", "line 1, column 3"},
        {"'a'", "line 1, column 1"},
        {"{a:1}", "line 1, column 2"},
        {"[01]", "line 1, column 3"},
        {"[+1]", "line 1, column 2"},
        {"[.5]", "line 1, column 2"},
        {"[1.]", "line 1, column 4"},
        {"[1e]", "line 1, column 4"},
        {"[0x10]", "line 1, column 3"},
        {"[-]", "line 1, column 3"},
        {"[1 2]", "line 1, column 4"},
        {"[1}", "line 1, column 3"},
        {"{\"a\"}", "line 1, column 5"},
        {"{1:2}", "line 1, column 2"},
        {"[True]", "line 1, column 2"},
        {"\n\n{\n\"a\":", "line 4, column 5"},
        {"\"open", "line 1, column 6"},
        {"\"a\nb\"", "line 2, column 0"},
        {"\"\0\""s, "line 1, column 2"},
        {"\"\\x\"", "line 1, column 3"},
        {"\"\\u12G4\"", "line 1, column 6"},
        {R"("\ud800\u0041")", "line 1, column 13"},
        {R"("\ud800x")", "line 1, column 8"},
        {R"({"\ud800":1})", "line 1, column 9"},
        {"\"\xC0\x80\"", "line 1, column 2"},
        {"\"\xED\xA0\x80\"", "line 1, column 3"},
        {"\"\xF4\x90\x80\x80\"", "line 1, column 3"},
        {"\"\xE2\x82\"", "line 1, column 4"},
        {"\xFE\xFF", "line 1, column 1"},
        {"\xEF\xBB{}", "line 1, column 3"},
        {"{}\xEF\xBB\xBF", "line 1, column 3"},
        {"\0{}"s, "line 1, column 1"},
        {"{\0}"s, "line 1, column 2"},
    };
    for (const Row& row : rows) {
        EXPECT_THAT(readingError(row.text), StartsWith("parse error at " + row.place + ": "))
            << testing::PrintToString(row.text);
    }
}

TEST(ReadJSON, Depth) {
    EXPECT_EQ(written(read(nested(512))), nested(512));
    EXPECT_EQ(readingError(nested(513)),
              "arrays and objects are nested deeper than 512 at byte 513");
    std::string objects;
    for (int level = 0; level < 512; ++level) {
        objects += R"({"[\"[":)";
    }
    const std::string end(512, '}');
    EXPECT_EQ(written(read(objects + "1" + end)), objects + "1" + end);
    EXPECT_EQ(readingError(objects + "[]" + end),
              "arrays and objects are nested deeper than 512 at byte " +
                  std::to_string(objects.size() + 1));
    // What was closed before does not count.
    EXPECT_EQ(written(read("[" + nested(511) + "," + nested(511) + "]")).size(), 2U * 1022U + 3U);
    EXPECT_EQ(readingError("[[],{}," + nested(512) + "]"),
              "arrays and objects are nested deeper than 512 at byte 519");
}

TEST(ReadJSON, AMillionDeep) {
    const std::string message = "arrays and objects are nested deeper than 512 at byte ";
    EXPECT_EQ(readingError(nested(1'000'000)), message + "513");
    EXPECT_EQ(readingError(std::string(1'000'000, '[')), message + "513");
    std::string objects;
    for (int level = 0; level < 1'000'000; ++level) {
        objects += "{\"\":";
    }
    EXPECT_EQ(readingError(objects), message + std::to_string(512 * 4 + 1));
}

TEST(ReadJSON, ErrorTextsAreShort) {
    // What was read last is quoted: here a million bytes.
    const std::string open = readingError("\"" + std::string(1'000'000, 'a'));
    EXPECT_THAT(open, StartsWith("parse error at line 1, column 1000002: syntax error while "
                                 "parsing value - invalid string: missing closing quote; "
                                 "last read: '\"aaaa"));
    EXPECT_THAT(open, EndsWith("a…"));
    EXPECT_LE(open.size(), 256U + std::string_view("…").size());
    // A text of 256 bytes is whole.
    std::size_t longest = 0;
    for (std::size_t length = 1; length < 256; ++length) {
        const std::string text = readingError("\"" + std::string(length, 'a'));
        longest = text.ends_with("…") ? longest : text.size();
    }
    EXPECT_EQ(longest, 256U);
    // Cut between characters, wherever the cut falls.
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string text = "\"" + std::string(shift, 'a');
        for (int repeat = 0; repeat < 100; ++repeat) {
            text += "\U0001F600";
        }
        const std::string message = readingError(text);
        EXPECT_THAT(message, EndsWith("\U0001F600…")) << shift;
        EXPECT_THAT(message, Not(HasSubstr("\uFFFD"))) << shift;
    }
}

TEST(ReadJSON, ALongText) {
    const std::string entry =
        R"({"list":[1,2,3],"name":")" + std::string(1000, 'n') + R"(","number":0.1})";
    std::string text = "[" + entry;
    std::size_t count = 1;
    for (; text.size() < largeInput; ++count) {
        text += "," + entry;
    }
    text += "]";
    const VELValue value = read(text);
    EXPECT_EQ(value.size(), count);
    EXPECT_EQ(value.back().dump(), entry);
    EXPECT_EQ(written(value), text);
}

TEST(WriteJSON, Compact) {
    EXPECT_EQ(written(VELValue::parse(R"({"b": [1, 2.0, true], "a": {"c": null}})")),
              R"({"a":{"c":null},"b":[1,2.0,true]})");
    EXPECT_EQ(written(VELValue("\"\\/\b\f\n\r\t\x01\x7F\u00E9\0"s)),
              "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\x7F\u00E9\\u0000\"");
}

TEST(WriteJSON, RefusesWhatJSONCannotHold) {
    struct Row {
        VELValue value;
        const char* error;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const char* const notFinite = "a number that is not finite cannot be written as JSON";
    const Row rows[] = {
        {VELValue(std::numeric_limits<double>::quiet_NaN()), notFinite},
        {VELValue::array({1, infinity}), notFinite},
        {VELValue({{"a", VELValue::array({VELValue({{"b", -infinity}})})}}), notFinite},
        {VELValue("a\xFF"), "invalid UTF-8 byte at index 1: 0xFF"},
        {VELValue({{"k\xC3", 1}}), "incomplete UTF-8 string; last byte: 0xC3"},
        {VELValue::array({"\xED\xA0\x80"}), "invalid UTF-8 byte at index 1: 0xA0"},
    };
    for (const Row& row : rows) {
        std::optional<VELError> error;
        EXPECT_FALSE(vel::writeJSON(row.value, &error));
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "NSCocoaErrorDomain");
        EXPECT_EQ(error->code(), 3851);
        EXPECT_EQ(error->message(), row.error);
        EXPECT_FALSE(vel::writeJSON(row.value, nullptr));
    }
}

TEST(CompactText, NeverFails) {
    EXPECT_EQ(vel::compactText(VELValue({{"a", "\xFF"}})), "{\"a\":\"\uFFFD\"}");
    EXPECT_EQ(vel::compactText(VELValue::array({std::nan(""), 1})), "[null,1]");
}

TEST(DisplayText, AStringBareAnythingElseAsJSON) {
    EXPECT_EQ(vel::displayText("a \"b\""), "a \"b\"");
    EXPECT_EQ(vel::displayText(nullptr), "null");
    EXPECT_EQ(vel::displayText(true), "true");
    EXPECT_EQ(vel::displayText(-5), "-5");
    EXPECT_EQ(vel::displayText(0.1), "0.1");
    EXPECT_EQ(vel::displayText(VELValue::array({"x", 1})), R"(["x",1])");
    EXPECT_EQ(vel::displayText(VELValue({{"k", "v"}})), R"({"k":"v"})");
}

} // namespace
