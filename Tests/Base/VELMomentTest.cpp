// SPDX-License-Identifier: Apache-2.0
#include "Base/VELMoment.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

namespace {

std::optional<std::int64_t> microseconds(std::string_view text) {
    const auto moment = vel::momentOfText(text);
    return moment ? std::optional<std::int64_t>(moment->time_since_epoch().count()) : std::nullopt;
}

TEST(Moment, IsReadInEveryFormOfTheStandard) {
    const std::pair<const char*, std::int64_t> moments[] = {
        {"1970-01-01T00:00:00Z", 0},
        {"1970-01-01t00:00:01z", 1'000'000},
        {"1970-01-01 00:00:00.5Z", 500'000},
        {"1970-01-01T00:00:00.1234567899Z", 123'456},
        {"1970-01-01T02:30:00+02:30", 0},
        {"1969-12-31T22:00:00-02:00", 0},
        {"1970-01-01T00:00:00-00:00", 0},
        {"2024-02-29T12:00:00Z", 1'709'208'000'000'000},
        {"2016-12-31T23:59:60Z", 1'483'228'800'000'000},
        {"0000-01-01T00:00:00Z", -62'167'219'200'000'000},
        {"9999-12-31T23:59:59Z", 253'402'300'799'000'000},
    };
    for (const auto& [text, expected] : moments) {
        EXPECT_EQ(microseconds(text), expected) << text;
    }
}

TEST(Moment, IsAbsentForOtherTexts) {
    for (const char* text : {"",
                             "2024",
                             "2024-06-01",
                             "2024-06-01T12:00:00",
                             "2024-06-01T12:00:00.5",
                             "2024-06-01T12:00Z",
                             "2024-06-01T12:00:00Zx",
                             " 2024-06-01T12:00:00Z",
                             "2024-6-01T12:00:00Z",
                             "2023-02-29T12:00:00Z",
                             "2024-00-01T12:00:00Z",
                             "2024-13-01T12:00:00Z",
                             "2024-04-31T12:00:00Z",
                             "2024-06-01T24:00:00Z",
                             "2024-06-01T12:60:00Z",
                             "2024-06-01T12:00:61Z",
                             "2024-06-01T12:00:00.Z",
                             "2024-06-01T12:00:00,5Z",
                             "2024-06-01T12:00:00+2:00",
                             "2024-06-01T12:00:00+24:00",
                             "2024-06-01T12:00:00+0200",
                             "2024-06-01T12:00:00+02:60",
                             "2024/06/01T12:00:00Z",
                             "-024-06-01T12:00:00Z"}) {
        EXPECT_EQ(microseconds(text), std::nullopt) << text;
    }
}

TEST(DateText, IsWrittenFromSecondsSince2001) {
    EXPECT_EQ(vel::dateText(0), "2001-01-01T00:00:00Z");
    EXPECT_EQ(vel::dateText(817'029'000), "2026-11-22T08:30:00Z");
    EXPECT_EQ(vel::dateText(0.999), "2001-01-01T00:00:00Z");
    EXPECT_EQ(vel::dateText(-0.5), "2000-12-31T23:59:59Z");
    EXPECT_EQ(vel::dateText(-978'307'200), "1970-01-01T00:00:00Z");
}

TEST(DateText, HasAYearFrom0To9999) {
    EXPECT_EQ(vel::dateText(-63'145'526'400), "0000-01-01T00:00:00Z");
    EXPECT_EQ(vel::dateText(-63'145'526'401), std::nullopt);
    EXPECT_EQ(vel::dateText(252'423'993'599), "9999-12-31T23:59:59Z");
    EXPECT_EQ(vel::dateText(252'423'993'600), std::nullopt);
    EXPECT_EQ(vel::dateText(std::numeric_limits<double>::infinity()), std::nullopt);
    EXPECT_EQ(vel::dateText(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
}

} // namespace
