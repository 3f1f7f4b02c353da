// SPDX-License-Identifier: Apache-2.0
//
// The Mac's clock and its work queue.
#include "Tests/Platform/Apple/AppleOnStandIns.h"
#include "Tests/Support/AllocationCount.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

TEST(VELAppleClock, CountsNanosecondsForUnitsOfTheProcessorsCounter) {
    AppleOnStandIns machine;
    const auto ticks = [&](std::uint64_t units) {
        machine.mac.absoluteTime = units;
        return machine.platform().ticks().time_since_epoch();
    };
    EXPECT_EQ(ticks(0), 0ns);
    EXPECT_EQ(ticks(1), 41ns) << "125 to 3, cut off";
    EXPECT_EQ(ticks(2), 83ns);
    EXPECT_EQ(ticks(3), 125ns);
    EXPECT_EQ(ticks(24'000'000), 1s);
    // A century and more of units: their product with 125 has more than 64 bits.
    EXPECT_EQ(ticks(200'000'000'000'000'000), nanoseconds(8'333'333'333'333'333'333));
    EXPECT_EQ(ticks(200'000'000'000'000'001), nanoseconds(8'333'333'333'333'333'375));
}

class VELAppleWorkQueueTest : public ::testing::Test {
protected:
    bool after(nanoseconds delay, std::function<void()> block) const {
        return machine.platform().workQueue().after(delay, std::move(block));
    }
    AppleOnStandIns machine;
};

TEST_F(VELAppleWorkQueueTest, PutsBlocksOffOnTheGlobalQueueOfDefaultPriority) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    const auto block = [count] { ++*count; };
    machine.mac.absoluteTime = 1000; // nothing is due but what is due at once
    for (const nanoseconds delay : {nanoseconds(0), nanoseconds(-1), nanoseconds::min(),
                                    nanoseconds(10s), nanoseconds::max()}) {
        EXPECT_TRUE(after(delay, block));
    }
    EXPECT_EQ(machine.mac.delays,
              std::vector<std::int64_t>(
                  {0, 0, 0, 10'000'000'000, std::numeric_limits<std::int64_t>::max()}));
    std::vector<std::uint64_t> moments;
    for (const StandInMac::DeferredBlock& deferred : machine.mac.deferredBlocks) {
        EXPECT_EQ(deferred.queue, 0);
        EXPECT_EQ(deferred.flags, 0U);
        moments.push_back(deferred.when);
    }
    EXPECT_EQ(moments,
              std::vector<std::uint64_t>({1000, 1000, 1000, 240'001'000, 221'360'928'884'515'618}));
    for (int step = 0; step < 1000 && *count < 3; ++step) {
        std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(*count, 3);
}

TEST_F(VELAppleWorkQueueTest, WithoutMemoryABlockIsNotTaken) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "a sanitizer keeps the memory itself";
    }
    const std::function<void()> block = [] { ADD_FAILURE() << "it ran"; };
    bool isTaken = true;
    {
        const AllocationFailure none(0);
        isTaken = after(0s, block);
    }
    EXPECT_FALSE(isTaken);
    EXPECT_EQ(machine.mac.deferredBlocks.size(), 0U);
}

} // namespace
