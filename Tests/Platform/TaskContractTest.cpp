// SPDX-License-Identifier: Apache-2.0
//
// What every platform's tasks and work queue do, asked of each that runs on this machine.
#include "Tests/Platform/ContractMachines.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <gtest/gtest.h>
#include <limits>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr double forever = std::numeric_limits<double>::infinity();

class TaskContract : public ContractTest {
protected:
    VELTimePoint after(std::chrono::nanoseconds delay) {
        return machine->platform().ticks() + delay;
    }

    std::shared_ptr<VELTask> run(VELSimulatedRun description) {
        auto task = machine->task(std::move(description));
        task->launch();
        task->waitUntilExit();
        return task;
    }

    std::optional<std::string> outputOf(VELSimulatedRun description) {
        return run(std::move(description))->readOutputToEnd(after(10s));
    }
};
INSTANTIATE_TEST_SUITE_P(, TaskContract, testing::ValuesIn(machinesForTasks()), machineName);

TEST_P(TaskContract, ReportsStatusAndOutput) {
    const auto task = run({.output = "State = 1\n", .status = 0});
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(after(10s)), "State = 1\n");
}

TEST_P(TaskContract, ReportsExitStatuses) {
    for (const int status : {1, 2, 15, 126, 127, 128, 255}) {
        EXPECT_EQ(run({.status = status})->terminationStatus(), status);
    }
}

TEST_P(TaskContract, ReportsTheSignalThatEndedTheChild) {
    for (const int signal : {SIGHUP, SIGKILL, SIGTERM, SIGUSR1}) {
        EXPECT_EQ(run({.signal = signal})->terminationStatus(), signal);
    }
}

TEST_P(TaskContract, NoOutputIsEmptyNotAbsent) {
    EXPECT_EQ(outputOf({}), "");
}

TEST_P(TaskContract, HandsOutBytesAsTheyAre) {
    const std::string bytes("a\0\xFF\xC3\r\n", 6);
    EXPECT_EQ(outputOf({.output = bytes}), bytes);
}

TEST_P(TaskContract, HoldsWhatAPipeHolds) {
    const std::string full(VELSimulatedRun::usualPipeCapacity, 'x');
    EXPECT_EQ(outputOf({.output = full}), full);
}

TEST_P(TaskContract, ABytePastThePipeBlocksTheChildUntilItIsEnded) {
    const std::string full(VELSimulatedRun::usualPipeCapacity, 'x');
    const auto task = machine->task({.output = full + "x", .statusOnTermination = 0});
    task->launch();
    machine->awaitTool();
    machine->passTime(500ms);
    EXPECT_TRUE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(after(10s)), full);
}

TEST_P(TaskContract, RunsFromLaunchToExit) {
    const auto task = machine->task({.seconds = 0.5});
    EXPECT_FALSE(task->isRunning());
    task->launch();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_FALSE(task->isRunning());
}

TEST_P(TaskContract, IsNotRunningOnceItHasExitedThoughNobodyWaited) {
    const auto task = machine->task({.status = 4});
    task->launch();
    while (task->isRunning()) {
        machine->passTime(10ms);
    }
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 4);
}

TEST_P(TaskContract, EndsWhenAskedTo) {
    const auto task = machine->task({.seconds = 30});
    task->launch();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST_P(TaskContract, EndsWhenAnotherThreadAsks) {
    const auto task = machine->task({.seconds = 30});
    task->launch();
    std::thread([&task] {
        EXPECT_TRUE(task->isRunning());
        task->terminate();
    }).join();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST_P(TaskContract, MayAnswerTheRequestWithAStatus) {
    const auto task = machine->task({.seconds = 30, .statusOnTermination = 7});
    task->launch();
    machine->awaitTool();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 7);
}

TEST_P(TaskContract, MayIgnoreTheRequest) {
    const auto task = machine->task({.status = 3, .seconds = 1, .ignoresTermination = true});
    const VELTimePoint end = after(1s);
    task->launch();
    machine->awaitTool();
    task->terminate();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 3);
    EXPECT_GE(machine->platform().ticks(), end);
}

TEST_P(TaskContract, RequestsToEndWhatDoesNotRunDoNothing) {
    const auto task = machine->task({.output = "done"});
    task->terminate();
    task->launch();
    task->waitUntilExit();
    task->terminate();
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(after(10s)), "done");
    task->close();
    task->terminate();
    EXPECT_FALSE(task->isRunning());
}

TEST_P(TaskContract, WaitsForOutputThatIsHeldAWhile) {
    EXPECT_EQ(outputOf({.output = "done", .secondsOutputIsHeld = 0.2}), "done");
}

TEST_P(TaskContract, DoesNotWaitForOutputPastTheDeadline) {
    const auto task = run({.output = "done", .secondsOutputIsHeld = forever});
    EXPECT_EQ(task->terminationStatus(), 0);
    const VELTimePoint deadline = after(200ms);
    EXPECT_EQ(task->readOutputToEnd(deadline), std::nullopt);
    EXPECT_GE(machine->platform().ticks(), deadline);
}

TEST_P(TaskContract, ReadsWhatHasEndedAfterTheDeadline) {
    const auto task = run({.output = "done"});
    machine->passTime(1ms);
    EXPECT_EQ(task->readOutputToEnd(machine->platform().ticks() - 1ns), "done");
}

TEST_P(TaskContract, AClosedRunHasNoOutput) {
    const auto task = run({.output = "done"});
    task->close();
    task->close();
    EXPECT_EQ(task->readOutputToEnd(after(10s)), std::nullopt);
    EXPECT_EQ(task->terminationStatus(), 0);
}

TEST_P(TaskContract, CanNotLaunchAMissingTool) {
    const auto task = machine->platform().task("/no/such/tool", {}, nullptr);
    EXPECT_EQ(task->launchPath(), "/no/such/tool");
    EXPECT_THROW(task->launch(), VELTaskLaunchFailure);
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->close();
}

TEST_P(TaskContract, TasksDoNotMix) {
    const auto first = machine->task({.output = "first", .status = 1});
    const auto second = machine->task({.output = "second", .status = 2});
    first->launch();
    second->launch();
    second->waitUntilExit();
    first->waitUntilExit();
    EXPECT_EQ(first->terminationStatus(), 1);
    EXPECT_EQ(second->terminationStatus(), 2);
    EXPECT_EQ(first->readOutputToEnd(after(10s)), "first");
    EXPECT_EQ(second->readOutputToEnd(after(10s)), "second");
}

class WorkQueueContract : public TaskContract {
protected:
    /// Passes time in small steps until so many blocks have run.
    void passTimeUntil(const std::atomic<int>& blocks, int count) {
        while (blocks < count) {
            machine->passTime(10ms);
        }
    }

    const VELWorkQueue& queue() { return machine->platform().workQueue(); }
};
INSTANTIATE_TEST_SUITE_P(, WorkQueueContract, testing::ValuesIn(machinesForTasks()), machineName);

TEST_P(WorkQueueContract, RunsBlocksOnceInTheOrderOfTheirMoments) {
    std::atomic<int> count = 0;
    std::string order;
    const auto block = [&](char name) {
        return [&order, &count, name] {
            order += name;
            ++count;
        };
    };
    const VELTimePoint due = after(500ms);
    EXPECT_TRUE(queue().after(500ms, block('c')));
    EXPECT_TRUE(queue().after(100ms, block('a')));
    EXPECT_TRUE(queue().after(300ms, block('b')));
    EXPECT_TRUE(queue().after(500ms, block('d')));
    passTimeUntil(count, 4);
    EXPECT_GE(machine->platform().ticks(), due);
    machine->passTime(50ms);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(order, "abcd");
}

TEST_P(WorkQueueContract, DoesNotRunABlockEarly) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(queue().after(1h, [count] { ++*count; }));
    machine->passTime(200ms);
    EXPECT_EQ(*count, 0);
}

TEST_P(WorkQueueContract, RunsAtOnceWhatIsDueAlready) {
    std::atomic<int> count = 0;
    const auto block = [&count] { ++count; };
    EXPECT_TRUE(queue().after(0ns, block));
    EXPECT_TRUE(queue().after(-5s, block));
    EXPECT_TRUE(queue().after(std::chrono::nanoseconds::min(), block));
    machine->passTime(0ns);
    passTimeUntil(count, 3);
    EXPECT_EQ(count, 3);
}

TEST_P(WorkQueueContract, AnEndlessDelayHoldsUpNoOther) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(queue().after(std::chrono::nanoseconds::max(), [count] { *count += 100; }));
    machine->passTime(50ms);
    EXPECT_TRUE(queue().after(50ms, [count] { ++*count; }));
    passTimeUntil(*count, 1);
    EXPECT_EQ(*count, 1);
}

TEST_P(WorkQueueContract, KeepsWhatABlockHoldsUntilItHasRun) {
    std::atomic<int> count = 0;
    auto held = std::make_shared<int>();
    const std::weak_ptr<int> seen = held;
    EXPECT_TRUE(queue().after(500ms, [held = std::move(held), &count] { ++count; }));
    EXPECT_FALSE(seen.expired());
    passTimeUntil(count, 1);
    while (!seen.expired()) {
        machine->passTime(10ms);
    }
    EXPECT_TRUE(seen.expired());
}

} // namespace
