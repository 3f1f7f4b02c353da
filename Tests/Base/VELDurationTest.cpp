// SPDX-License-Identifier: Apache-2.0
#include "Base/VELDuration.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t lastMoment = std::numeric_limits<std::uint64_t>::max();

TEST(Nanoseconds, AreTruncatedTowardZero) {
    EXPECT_EQ(vel::nanoseconds(10.0).count(), 10'000'000'000);
    EXPECT_EQ(vel::nanoseconds(0.2).count(), 200'000'000);
    EXPECT_EQ(vel::nanoseconds(0).count(), 0);
    EXPECT_EQ(vel::nanoseconds(1.9e-9).count(), 1);
    EXPECT_EQ(vel::nanoseconds(-1.9e-9).count(), -1);
    EXPECT_EQ(vel::nanoseconds(-2.5).count(), -2'500'000'000);
}

TEST(Nanoseconds, AreTheNearestThatFit) {
    EXPECT_EQ(vel::nanoseconds(9.3e9).count(), latest);
    EXPECT_EQ(vel::nanoseconds(9'223'372'036.854776).count(), latest);
    EXPECT_EQ(vel::nanoseconds(9'223'372'036.0).count(), 9'223'372'036'000'000'000);
    EXPECT_EQ(vel::nanoseconds(-9.3e9).count(), earliest);
    EXPECT_EQ(vel::nanoseconds(std::numeric_limits<double>::infinity()).count(), latest);
    EXPECT_EQ(vel::nanoseconds(-std::numeric_limits<double>::infinity()).count(), earliest);
    EXPECT_EQ(vel::nanoseconds(std::numeric_limits<double>::quiet_NaN()).count(), 0);
}

TEST(MomentAfter, NeitherGoesBackNorOverflows) {
    EXPECT_EQ(vel::momentAfter(5, std::chrono::nanoseconds(7)), 12U);
    EXPECT_EQ(vel::momentAfter(5, std::chrono::nanoseconds(0)), 5U);
    EXPECT_EQ(vel::momentAfter(5, std::chrono::nanoseconds(-7)), 5U);
    EXPECT_EQ(vel::momentAfter(5, std::chrono::nanoseconds(earliest)), 5U);
    EXPECT_EQ(vel::momentAfter(lastMoment - 7, std::chrono::nanoseconds(7)), lastMoment);
    EXPECT_EQ(vel::momentAfter(lastMoment - 7, std::chrono::nanoseconds(8)), lastMoment);
    EXPECT_EQ(vel::momentAfter(lastMoment, std::chrono::nanoseconds(latest)), lastMoment);
}

} // namespace
