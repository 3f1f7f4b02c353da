// SPDX-License-Identifier: Apache-2.0
#include "Base/VELDuration.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace std::chrono_literals;

constexpr std::int64_t earliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t latest = std::numeric_limits<std::int64_t>::max();

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

TEST(Seconds, AreTheNearestDouble) {
    EXPECT_EQ(vel::seconds(0ns), 0.0);
    EXPECT_EQ(vel::seconds(1ns), 1e-9);
    EXPECT_EQ(vel::seconds(-2500ms), -2.5);
    EXPECT_EQ(vel::seconds(1'234'567'890'123'456'789ns), 1'234'567'890'123'456'789.0 / 1e9);
}

TEST(MomentAfter, NeitherGoesBackNorOverflows) {
    using Moment = std::chrono::time_point<std::chrono::steady_clock, std::chrono::nanoseconds>;
    constexpr Moment moment(5ns);
    EXPECT_EQ(vel::momentAfter(moment, 7ns), Moment(12ns));
    EXPECT_EQ(vel::momentAfter(moment, 0ns), moment);
    EXPECT_EQ(vel::momentAfter(moment, -7ns), moment);
    EXPECT_EQ(vel::momentAfter(moment, std::chrono::nanoseconds::min()), moment);
    EXPECT_EQ(vel::momentAfter(moment, std::chrono::nanoseconds::max()), Moment::max());
    EXPECT_EQ(vel::momentAfter(Moment::max() - 7ns, 6ns), Moment::max() - 1ns);
    EXPECT_EQ(vel::momentAfter(Moment::max() - 7ns, 7ns), Moment::max());
    EXPECT_EQ(vel::momentAfter(Moment::max() - 7ns, 8ns), Moment::max());
    EXPECT_EQ(vel::momentAfter(Moment::max(), std::chrono::nanoseconds::max()), Moment::max());
    EXPECT_EQ(vel::momentAfter(Moment(-5ns), std::chrono::nanoseconds::max()), Moment::max() - 5ns);
}

} // namespace
