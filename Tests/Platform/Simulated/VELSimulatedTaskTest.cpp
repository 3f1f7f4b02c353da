// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

std::optional<std::string> output(const VELSimulatedPlatform& platform, const char* path,
                                  std::vector<std::string> arguments = {}) {
    const auto task = platform.task(path, std::move(arguments), nullptr);
    task->launch();
    task->waitUntilExit();
    return task->readOutputToEnd(platform.ticks());
}

std::string launchFailure(const VELSimulatedPlatform& platform, const char* path,
                          std::vector<std::string> arguments = {}) {
    try {
        platform.task(path, std::move(arguments), nullptr)->launch();
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

TEST(VELSimulatedTask, HasTheToolsOwnPath) {
    EXPECT_EQ(VELSimulatedPlatform().task("/usr/sbin/dsconfigad", {}, nullptr)->launchPath(),
              "/usr/sbin/dsconfigad");
}

TEST(VELSimulatedTask, ShowsThePathOfTheRunThatItLaunches) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/a"}, .launchPath = "/opt/a"},
                      {.command = {"/bin/a"}, .launchPath = "/opt/b", .launchFailure = "no"}};
    const auto first = platform.task("/bin/a", {}, nullptr);
    const auto second = platform.task("/bin/a", {}, nullptr);
    first->launch();
    EXPECT_THROW(second->launch(), VELTaskLaunchFailure);
    EXPECT_EQ(first->launchPath(), "/opt/a");
    EXPECT_EQ(second->launchPath(), "/opt/b");
}

TEST(VELSimulatedTask, FollowsWhatRanLastInItsPlace) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/read"}, .output = "any 1"},
                      {.command = {"/bin/read"}, .after = {"/bin/write", "b"}, .output = "b"},
                      {.command = {"/bin/read"}, .output = "any 2"},
                      {.command = {"/bin/read"}, .after = {"/bin/write", "a"}, .output = "a"},
                      {.command = {"/bin/write", "a"}},
                      {.command = {"/bin/write", "b"}},
                      {.command = {"/bin/write", "c"}},
                      {.command = {"/bin/write", "d"}, .launchFailure = "no"}};
    const auto place = platform.openWorkingPlace();
    const auto read = [&] {
        const auto task = platform.task("/bin/read", {}, place);
        task->launch();
        task->waitUntilExit();
        return task->readOutputToEnd(platform.ticks()).value();
    };
    const auto write = [&](const char* what) {
        platform.task("/bin/write", {what}, place)->launch();
    };
    EXPECT_EQ(read(), "any 1");
    write("a");
    EXPECT_THROW(write("d"), VELTaskLaunchFailure);
    EXPECT_EQ(read(), "a");
    write("b");
    EXPECT_EQ(read(), "b");
    write("c");
    EXPECT_EQ(read(), "any 2");
    EXPECT_EQ(output(platform, "/bin/read"), "any 2");
}

TEST(VELSimulatedTask, IsNotLaunchedInAPlaceThatCouldNotBeMade) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/a"}}};
    EXPECT_NE(platform.openWorkingPlace(), platform.openWorkingPlace());
    platform.task("/bin/a", {}, platform.openWorkingPlace())->launch();
    platform.workingPlacesAvailable = false;
    const auto place = platform.openWorkingPlace();
    ASSERT_NE(place, nullptr);
    EXPECT_THROW(platform.task("/bin/a", {}, place)->launch(), VELTaskLaunchFailure);
    EXPECT_EQ(platform.taskRecord.workingPlaces().back(), place);
}

TEST(VELSimulatedTask, ThreadsPassTimeApart) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/slow"}, .output = "slow", .seconds = 5}};
    platform.advanceTime(1ns);
    std::thread([&platform] {
        EXPECT_EQ(platform.ticks(), VELTimePoint());
        EXPECT_EQ(output(platform, "/bin/slow"), "slow");
        EXPECT_EQ(platform.ticks(), VELTimePoint(5s));
    }).join();
    EXPECT_EQ(platform.ticks(), VELTimePoint(1ns));
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
            EXPECT_EQ(platform.ticks(), VELTimePoint(50s));
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
    platform.advanceTime(1ns);
    EXPECT_FALSE(ran);
    EXPECT_EQ(platform.time.afterCalls, 1U);
}

TEST(VELSimulatedTime, DropsTheFirstBlockWhenTooManyWait) {
    VELSimulatedPlatform platform;
    std::vector<int> ran;
    for (int number = 0; number < 18; ++number) {
        platform.workQueue().after(std::chrono::nanoseconds(number + 1),
                                   [&ran, number] { ran.push_back(number); });
    }
    EXPECT_EQ(platform.time.pendingBlocks(), 16U);
    platform.advanceTime(1us);
    EXPECT_EQ(ran.size(), 16U);
    EXPECT_EQ(ran.front(), 2);
}

TEST(VELSimulatedTime, ABlockMayScheduleAnother) {
    VELSimulatedPlatform platform;
    std::vector<VELTimePoint> moments;
    platform.workQueue().after(std::chrono::nanoseconds(5), [&] {
        moments.push_back(platform.ticks());
        platform.workQueue().after(std::chrono::nanoseconds(5),
                                   [&] { moments.push_back(platform.ticks()); });
    });
    platform.advanceTime(100ns);
    EXPECT_EQ(moments, (std::vector{VELTimePoint(5ns), VELTimePoint(10ns)}));
    EXPECT_EQ(platform.ticks(), VELTimePoint(100ns));
}

} // namespace
