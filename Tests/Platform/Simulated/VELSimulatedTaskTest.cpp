// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

std::optional<std::string> output(const VELSimulatedPlatform& platform, const char* path,
                                  std::vector<std::string> arguments = {}) {
    const auto task = platform.task(path, std::move(arguments));
    task->launch();
    task->waitUntilExit();
    return task->readOutputToEnd(platform.ticks());
}

std::string launchFailure(const VELSimulatedPlatform& platform, const char* path,
                          std::vector<std::string> arguments = {}) {
    try {
        platform.task(path, std::move(arguments))->launch();
    } catch (const VELTaskLaunchFailure& failure) {
        return failure.what();
    }
    return "none";
}

TEST(VELSimulatedTask, UsesUpTheRunsOfACommandAndRepeatsTheLast) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/a"}, .output = "1"},
                      {.command = {"/bin/b"}, .output = "other"},
                      {.command = {"/bin/a"}, .output = "2"},
                      {.command = {"/bin/a"}, .launchFailure = "worn out"}};
    EXPECT_EQ(output(platform, "/bin/a"), "1");
    EXPECT_EQ(output(platform, "/bin/a"), "2");
    EXPECT_EQ(output(platform, "/bin/b"), "other");
    EXPECT_EQ(output(platform, "/bin/b"), "other");
    EXPECT_EQ(launchFailure(platform, "/bin/a"), "worn out");
    EXPECT_EQ(launchFailure(platform, "/bin/a"), "worn out");
    EXPECT_EQ(platform.taskRecord.launches, 6U);
}

TEST(VELSimulatedTask, KnowsACommandByEachOfItsWords) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/a", "-x"}, .output = "x"}};
    EXPECT_EQ(output(platform, "/bin/a", {"-x"}), "x");
    EXPECT_EQ(launchFailure(platform, "/bin/a"), "no such tool on this machine");
    EXPECT_EQ(launchFailure(platform, "/bin/a", {"-X"}), "no such tool on this machine");
    EXPECT_EQ(launchFailure(platform, "/bin/a", {"-x", ""}), "no such tool on this machine");
    EXPECT_EQ(launchFailure(platform, "/bin/a -x"), "no such tool on this machine");
}

TEST(VELSimulatedTask, IsAnsweredItsOwnPath) {
    EXPECT_EQ(VELSimulatedPlatform().toolPath("/usr/sbin/dsconfigad"), "/usr/sbin/dsconfigad");
}

TEST(VELSimulatedTask, ThreadsPassTimeApart) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/slow"}, .output = "slow", .seconds = 5}};
    platform.advanceTime(1);
    std::thread([&platform] {
        EXPECT_EQ(platform.ticks(), 0U);
        EXPECT_EQ(output(platform, "/bin/slow"), "slow");
        EXPECT_EQ(platform.ticks(), 5'000'000'000U);
    }).join();
    EXPECT_EQ(platform.ticks(), 1U);
}

TEST(VELSimulatedTask, SixteenThreadsMayRunAtOnce) {
    VELSimulatedPlatform platform;
    for (int number = 0; number < 16; ++number) {
        const std::string text = std::to_string(number);
        platform.tools.push_back({.command = {"/bin/tool", text}, .output = text, .seconds = 1});
    }
    std::vector<std::thread> threads;
    for (int number = 0; number < 16; ++number) {
        threads.emplace_back([&platform, text = std::to_string(number)] {
            for (int run = 0; run < 50; ++run) {
                EXPECT_EQ(output(platform, "/bin/tool", {text}), text);
            }
            EXPECT_EQ(platform.ticks(), 50'000'000'000U);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(platform.taskRecord.launches, 800U);
}

TEST(VELSimulatedTime, RefusesAWorkerWhenTold) {
    VELSimulatedPlatform platform;
    platform.time.refusesWorker = true;
    bool ran = false;
    EXPECT_FALSE(platform.workQueue().after(std::chrono::seconds(0), [&ran] { ran = true; }));
    platform.advanceTime(1);
    EXPECT_FALSE(ran);
    EXPECT_EQ(platform.time.afterCalls, 1U);
}

TEST(VELSimulatedTime, ABlockMayScheduleAnother) {
    VELSimulatedPlatform platform;
    std::vector<std::uint64_t> moments;
    platform.workQueue().after(std::chrono::nanoseconds(5), [&] {
        moments.push_back(platform.ticks());
        platform.workQueue().after(std::chrono::nanoseconds(5),
                                   [&] { moments.push_back(platform.ticks()); });
    });
    platform.advanceTime(100);
    EXPECT_EQ(moments, (std::vector<std::uint64_t>{5, 10}));
    EXPECT_EQ(platform.ticks(), 100U);
}

} // namespace
