// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELPortSet.h"

#include <gtest/gtest.h>
#include <ostream>
#include <random>
#include <set>

namespace vel {
static void PrintTo(const PortSet& ports, std::ostream* stream) {
    for (const auto& [first, last] : ports.intervals()) {
        *stream << "[" << first << ", " << last << "]";
    }
}
} // namespace vel

namespace {

using vel::PortSet;

TEST(PortSet, HoldsThePortsFromOne) {
    EXPECT_TRUE(PortSet().isEmpty());
    EXPECT_EQ(PortSet().size(), 0U);
    EXPECT_EQ(PortSet::all().size(), 65'535U);
    EXPECT_EQ(PortSet({{0, 0}}), PortSet());
    EXPECT_EQ(PortSet({{65'536, 4'294'967'295}}), PortSet());
    EXPECT_EQ(PortSet({{0, 4'294'967'295}}), PortSet::all());
    EXPECT_EQ(PortSet({{5, 4}}), PortSet());
    EXPECT_EQ(PortSet({{7, 9}, {1, 3}, {4, 4}, {2, 2}}).intervals(),
              (std::vector<PortSet::Interval>{{1, 4}, {7, 9}}));
}

TEST(PortSet, EveryPortIsInASetOrInItsComplement) {
    EXPECT_EQ(~PortSet(), PortSet::all());
    EXPECT_EQ(~PortSet::all(), PortSet());
    EXPECT_EQ(~PortSet({{1, 1}, {65'535, 65'535}}), PortSet({{2, 65'534}}));
    EXPECT_EQ(~PortSet({{2, 65'534}}), PortSet({{1, 1}, {65'535, 65'535}}));
}

TEST(PortSet, AgreesWithSetsOfNumbers) {
    std::mt19937 random(4);
    const auto numbers = [](const PortSet& ports) {
        std::set<unsigned> result;
        for (const auto& [first, last] : ports.intervals()) {
            for (unsigned port = first; port <= last; ++port) {
                result.insert(port);
            }
        }
        return result;
    };
    const auto some = [&random] {
        std::vector<PortSet::Interval> intervals;
        for (unsigned count = random() % 4; count > 0; --count) {
            const auto first = static_cast<std::uint32_t>(random() % 40);
            intervals.push_back({first, first + static_cast<std::uint32_t>(random() % 10)});
        }
        return PortSet(intervals);
    };
    for (int i = 0; i < 2'000; ++i) {
        const PortSet left = some();
        const PortSet right = some();
        std::set<unsigned> both;
        std::set<unsigned> either = numbers(left);
        std::set<unsigned> leftOnly;
        for (const unsigned port : numbers(right)) {
            either.insert(port);
        }
        for (const unsigned port : numbers(left)) {
            (numbers(right).contains(port) ? both : leftOnly).insert(port);
        }
        ASSERT_EQ(numbers(left & right), both);
        ASSERT_EQ(numbers(left | right), either);
        ASSERT_EQ(numbers(left - right), leftOnly);
        ASSERT_EQ(left.size(), numbers(left).size());
        ASSERT_EQ(~~left, left);
    }
}

} // namespace
