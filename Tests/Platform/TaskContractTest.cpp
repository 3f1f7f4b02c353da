// SPDX-License-Identifier: Apache-2.0
//
// What every platform's tasks and work queue do, asked of each that runs on this machine.
#include "Tests/Platform/TypedContractMachines.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr double forever = std::numeric_limits<double>::infinity();

template <typename Machine> class TaskContract : public PlatformContract<Machine> {
protected:
    VELTimePoint after(std::chrono::nanoseconds delay) {
        return this->machine.platform().ticks() + delay;
    }

    std::shared_ptr<VELTask> run(VELSimulatedRun description) {
        auto task = this->machine.task(std::move(description));
        task->launch();
        task->waitUntilExit();
        return task;
    }

    std::optional<std::string> outputOf(VELSimulatedRun description) {
        return run(std::move(description))->readOutputToEnd(after(10s));
    }
};
TYPED_TEST_SUITE(TaskContract, TaskContractMachines, ContractMachineNames);

TYPED_TEST(TaskContract, ReportsStatusAndOutput) {
    const auto task = this->run({.output = "State = 1\n", .status = 0});
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(this->after(10s)), "State = 1\n");
}

TYPED_TEST(TaskContract, ReportsExitStatuses) {
    for (const int status : {1, 2, 15, 126, 127, 128, 255}) {
        EXPECT_EQ(this->run({.status = status})->terminationStatus(), status);
    }
}

TYPED_TEST(TaskContract, ReportsTheSignalThatEndedTheChild) {
    for (const int signal : {SIGHUP, SIGKILL, SIGTERM, SIGUSR1}) {
        EXPECT_EQ(this->run({.signal = signal})->terminationStatus(), signal);
    }
}

TYPED_TEST(TaskContract, NoOutputIsEmptyNotAbsent) {
    EXPECT_EQ(this->outputOf({}), "");
}

TYPED_TEST(TaskContract, HandsOutBytesAsTheyAre) {
    const std::string bytes("a\0\xFF\xC3\r\n", 6);
    EXPECT_EQ(this->outputOf({.output = bytes}), bytes);
}

TYPED_TEST(TaskContract, HoldsWhatAPipeHolds) {
    const std::string full(VELSimulatedRun::usualPipeCapacity, 'x');
    EXPECT_EQ(this->outputOf({.output = full}), full);
}

TYPED_TEST(TaskContract, ABytePastThePipeBlocksTheChildUntilItIsEnded) {
    const std::string full(VELSimulatedRun::usualPipeCapacity, 'x');
    const auto task = this->machine.task({.output = full + "x", .statusOnTermination = 0});
    task->launch();
    this->machine.awaitTool();
    this->machine.passTime(500ms);
    EXPECT_TRUE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(this->after(10s)), full);
}

TYPED_TEST(TaskContract, RunsFromLaunchToExit) {
    const auto task = this->machine.task({.seconds = 0.5});
    EXPECT_FALSE(task->isRunning());
    task->launch();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_FALSE(task->isRunning());
}

TYPED_TEST(TaskContract, IsNotRunningOnceItHasExitedThoughNobodyWaited) {
    const auto task = this->machine.task({.status = 4});
    task->launch();
    while (task->isRunning()) {
        this->machine.passTime(10ms);
    }
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 4);
}

TYPED_TEST(TaskContract, EndsWhenAskedTo) {
    const auto task = this->machine.task({.seconds = 30});
    task->launch();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TYPED_TEST(TaskContract, EndsWhenAnotherThreadAsks) {
    const auto task = this->machine.task({.seconds = 30});
    task->launch();
    std::thread([&task] {
        EXPECT_TRUE(task->isRunning());
        task->terminate();
    }).join();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TYPED_TEST(TaskContract, MayAnswerTheRequestWithAStatus) {
    const auto task = this->machine.task({.seconds = 30, .statusOnTermination = 7});
    task->launch();
    this->machine.awaitTool();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 7);
}

TYPED_TEST(TaskContract, MayIgnoreTheRequest) {
    const auto task = this->machine.task({.status = 3, .seconds = 1, .ignoresTermination = true});
    const VELTimePoint end = this->after(1s);
    task->launch();
    this->machine.awaitTool();
    task->terminate();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 3);
    EXPECT_GE(this->machine.platform().ticks(), end);
}

TYPED_TEST(TaskContract, RequestsToEndWhatDoesNotRunDoNothing) {
    const auto task = this->machine.task({.output = "done"});
    task->terminate();
    task->launch();
    task->waitUntilExit();
    task->terminate();
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(this->after(10s)), "done");
    task->close();
    task->terminate();
    EXPECT_FALSE(task->isRunning());
}

TYPED_TEST(TaskContract, WaitsForOutputThatIsHeldAWhile) {
    EXPECT_EQ(this->outputOf({.output = "done", .secondsOutputIsHeld = 0.2}), "done");
}

TYPED_TEST(TaskContract, DoesNotWaitForOutputPastTheDeadline) {
    const auto task = this->run({.output = "done", .secondsOutputIsHeld = forever});
    EXPECT_EQ(task->terminationStatus(), 0);
    const VELTimePoint deadline = this->after(200ms);
    EXPECT_EQ(task->readOutputToEnd(deadline), std::nullopt);
    EXPECT_GE(this->machine.platform().ticks(), deadline);
}

TYPED_TEST(TaskContract, ReadsWhatHasEndedAfterTheDeadline) {
    const auto task = this->run({.output = "done"});
    this->machine.passTime(1ms);
    EXPECT_EQ(task->readOutputToEnd(this->machine.platform().ticks() - 1ns), "done");
}

TYPED_TEST(TaskContract, AClosedRunHasNoOutput) {
    const auto task = this->run({.output = "done"});
    task->close();
    task->close();
    EXPECT_EQ(task->readOutputToEnd(this->after(10s)), std::nullopt);
    EXPECT_EQ(task->terminationStatus(), 0);
}

TYPED_TEST(TaskContract, CanNotLaunchAMissingTool) {
    const auto task = this->machine.platform().task("/no/such/tool", {}, nullptr);
    EXPECT_EQ(task->launchPath(), "/no/such/tool");
    EXPECT_THROW(task->launch(), VELTaskLaunchFailure);
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->close();
}

TYPED_TEST(TaskContract, TasksDoNotMix) {
    const auto first = this->machine.task({.output = "first", .status = 1});
    const auto second = this->machine.task({.output = "second", .status = 2});
    first->launch();
    second->launch();
    second->waitUntilExit();
    first->waitUntilExit();
    EXPECT_EQ(first->terminationStatus(), 1);
    EXPECT_EQ(second->terminationStatus(), 2);
    EXPECT_EQ(first->readOutputToEnd(this->after(10s)), "first");
    EXPECT_EQ(second->readOutputToEnd(this->after(10s)), "second");
}

template <typename Machine> class WorkQueueContract : public TaskContract<Machine> {
protected:
    /// Passes time in small steps until so many blocks have run.
    void passTimeUntil(const std::atomic<int>& blocks, int count) {
        while (blocks < count) {
            this->machine.passTime(10ms);
        }
    }

    const VELWorkQueue& queue() { return this->machine.platform().workQueue(); }
};
TYPED_TEST_SUITE(WorkQueueContract, TaskContractMachines, ContractMachineNames);

TYPED_TEST(WorkQueueContract, RunsBlocksOnceInTheOrderOfTheirMoments) {
    std::atomic<int> count = 0;
    std::string order;
    const auto block = [&](char name) {
        return [&order, &count, name] {
            order += name;
            ++count;
        };
    };
    const VELTimePoint due = this->after(500ms);
    EXPECT_TRUE(this->queue().after(500ms, block('c')));
    EXPECT_TRUE(this->queue().after(100ms, block('a')));
    EXPECT_TRUE(this->queue().after(300ms, block('b')));
    EXPECT_TRUE(this->queue().after(500ms, block('d')));
    this->passTimeUntil(count, 4);
    EXPECT_GE(this->machine.platform().ticks(), due);
    this->machine.passTime(50ms);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(order, "abcd");
}

TYPED_TEST(WorkQueueContract, DoesNotRunABlockEarly) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(this->queue().after(1h, [count] { ++*count; }));
    this->machine.passTime(200ms);
    EXPECT_EQ(*count, 0);
}

TYPED_TEST(WorkQueueContract, RunsAtOnceWhatIsDueAlready) {
    std::atomic<int> count = 0;
    const auto block = [&count] { ++count; };
    EXPECT_TRUE(this->queue().after(0ns, block));
    EXPECT_TRUE(this->queue().after(-5s, block));
    EXPECT_TRUE(this->queue().after(std::chrono::nanoseconds::min(), block));
    this->machine.passTime(0ns);
    this->passTimeUntil(count, 3);
    EXPECT_EQ(count, 3);
}

TYPED_TEST(WorkQueueContract, AnEndlessDelayHoldsUpNoOther) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(this->queue().after(std::chrono::nanoseconds::max(), [count] { *count += 100; }));
    this->machine.passTime(50ms);
    EXPECT_TRUE(this->queue().after(50ms, [count] { ++*count; }));
    this->passTimeUntil(*count, 1);
    EXPECT_EQ(*count, 1);
}

TYPED_TEST(WorkQueueContract, KeepsWhatABlockHoldsUntilItHasRun) {
    std::atomic<int> count = 0;
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> seen = held;
    EXPECT_TRUE(this->queue().after(500ms, [held = std::move(held), &count] { ++count; }));
    EXPECT_FALSE(seen.expired());
    this->passTimeUntil(count, 1);
    while (!seen.expired()) {
        this->machine.passTime(10ms);
    }
    EXPECT_TRUE(seen.expired());
}

} // namespace
