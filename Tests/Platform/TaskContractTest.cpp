// SPDX-License-Identifier: Apache-2.0
//
// What every platform's tasks and work queue do, asked of each that runs on this machine.
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/TaskTool.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <limits>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr double forever = std::numeric_limits<double>::infinity();

/// A machine with a tool that behaves as told.
class Machine {
public:
    virtual ~Machine() = default;
    virtual const VELPlatform& platform() const = 0;

    /// A task for a tool that runs as `run` says (its command is chosen here).
    virtual std::shared_ptr<VELTask> task(VELSimulatedRun run) = 0;

    /// A task for a tool that does not exist.
    virtual std::shared_ptr<VELTask> missingTool() const {
        return platform().task("/no/such/tool", {}, nullptr);
    }

    virtual void passTime(std::chrono::nanoseconds duration) const = 0;

    /// Passes time until the tool launched last is ready to be asked to end.
    virtual void awaitTool() const = 0;
};

class SimulatedMachine final : public Machine {
public:
    const VELPlatform& platform() const override { return _platform; }

    std::shared_ptr<VELTask> task(VELSimulatedRun run) override {
        const std::string number = std::to_string(_platform.tools.size());
        run.command = {"/tool", number};
        _platform.tools.push_back(run);
        return _platform.task("/tool", {number}, nullptr);
    }

    void passTime(std::chrono::nanoseconds duration) const override {
        _platform.advanceTime(duration);
    }

    void awaitTool() const override {}

private:
    VELSimulatedPlatform _platform;
};

class LinuxMachine final : public Machine {
public:
    explicit LinuxMachine(bool usesProcessHandle) : _usesProcessHandle(usesProcessHandle) {}

    const VELPlatform& platform() const override { return _platform; }

    std::shared_ptr<VELTask> task(VELSimulatedRun run) override {
        std::vector<std::string> arguments = taskToolCommand(run);
        arguments.erase(arguments.begin());
        arguments.insert(arguments.end(), {"--ready-file", _readyFile});
        if (_usesProcessHandle) {
            return _platform.task(VEL_TASK_TOOL, arguments, nullptr);
        }
        VELPOSIXTask::Options options;
        options.usesProcessHandle = false;
        return std::make_shared<VELPOSIXTask>(VEL_TASK_TOOL, arguments, options);
    }

    void passTime(std::chrono::nanoseconds duration) const override {
        std::this_thread::sleep_for(duration);
    }

    void awaitTool() const override {
        for (int step = 0; step < 1000 && !std::filesystem::exists(_readyFile); ++step) {
            passTime(10ms);
        }
    }

    ~LinuxMachine() override { std::filesystem::remove(_readyFile); }

private:
    VELLinuxPlatform _platform;
    const std::string _readyFile =
        std::filesystem::temp_directory_path() / ("vel-task-ready-" + std::to_string(::getpid()));
    const bool _usesProcessHandle;
};

struct Implementation {
    const char* name;
    std::unique_ptr<Machine> (*make)();

    friend std::ostream& operator<<(std::ostream& stream, const Implementation& implementation) {
        return stream << implementation.name;
    }
};

class TaskContract : public ::testing::TestWithParam<Implementation> {
protected:
    Machine& machine() { return *_machine; }

    VELTimePoint after(std::chrono::nanoseconds delay) {
        return _machine->platform().ticks() + delay;
    }

    std::shared_ptr<VELTask> run(VELSimulatedRun run) {
        auto task = machine().task(std::move(run));
        task->launch();
        task->waitUntilExit();
        return task;
    }

    std::optional<std::string> outputOf(VELSimulatedRun description) {
        return run(std::move(description))->readOutputToEnd(after(10s));
    }

private:
    std::unique_ptr<Machine> _machine = GetParam().make();
};

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
    const std::string full(VELSimulatedTask::pipeCapacity, 'x');
    EXPECT_EQ(outputOf({.output = full}), full);
}

TEST_P(TaskContract, ABytePastThePipeBlocksTheChildUntilItIsEnded) {
    const std::string full(VELSimulatedTask::pipeCapacity, 'x');
    const auto task = machine().task({.output = full + "x", .statusOnTermination = 0});
    task->launch();
    machine().awaitTool();
    machine().passTime(500ms);
    EXPECT_TRUE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 0);
    EXPECT_EQ(task->readOutputToEnd(after(10s)), full);
}

TEST_P(TaskContract, RunsFromLaunchToExit) {
    const auto task = machine().task({.seconds = 0.5});
    EXPECT_FALSE(task->isRunning());
    task->launch();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_FALSE(task->isRunning());
}

TEST_P(TaskContract, IsNotRunningOnceItHasExitedThoughNobodyWaited) {
    const auto task = machine().task({.status = 4});
    task->launch();
    for (int step = 0; step < 1000 && task->isRunning(); ++step) {
        machine().passTime(10ms);
    }
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 4);
}

TEST_P(TaskContract, EndsWhenAskedTo) {
    const auto task = machine().task({.seconds = 30});
    task->launch();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST_P(TaskContract, EndsWhenAnotherThreadAsks) {
    const auto task = machine().task({.seconds = 30});
    task->launch();
    std::thread([&task] {
        EXPECT_TRUE(task->isRunning());
        task->terminate();
    }).join();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), SIGTERM);
}

TEST_P(TaskContract, MayAnswerTheRequestWithAStatus) {
    const auto task = machine().task({.seconds = 30, .statusOnTermination = 7});
    task->launch();
    machine().awaitTool();
    task->terminate();
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 7);
}

TEST_P(TaskContract, MayIgnoreTheRequest) {
    const auto task = machine().task({.status = 3, .seconds = 1, .ignoresTermination = true});
    const VELTimePoint end = after(1s);
    task->launch();
    machine().awaitTool();
    task->terminate();
    EXPECT_TRUE(task->isRunning());
    task->waitUntilExit();
    EXPECT_EQ(task->terminationStatus(), 3);
    EXPECT_GE(machine().platform().ticks(), end);
}

TEST_P(TaskContract, RequestsToEndWhatDoesNotRunDoNothing) {
    const auto task = machine().task({.output = "done"});
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
    EXPECT_GE(machine().platform().ticks(), deadline);
}

TEST_P(TaskContract, ReadsWhatHasEndedAfterTheDeadline) {
    const auto task = run({.output = "done"});
    machine().passTime(1ms);
    EXPECT_EQ(task->readOutputToEnd(machine().platform().ticks() - 1ns), "done");
}

TEST_P(TaskContract, AClosedRunHasNoOutput) {
    const auto task = run({.output = "done"});
    task->close();
    task->close();
    EXPECT_EQ(task->readOutputToEnd(after(10s)), std::nullopt);
    EXPECT_EQ(task->terminationStatus(), 0);
}

TEST_P(TaskContract, CanNotLaunchAMissingTool) {
    const auto task = machine().missingTool();
    EXPECT_EQ(task->launchPath(), "/no/such/tool");
    EXPECT_THROW(task->launch(), VELTaskLaunchFailure);
    EXPECT_FALSE(task->isRunning());
    task->terminate();
    task->close();
}

TEST_P(TaskContract, TasksDoNotMix) {
    const auto first = machine().task({.output = "first", .status = 1});
    const auto second = machine().task({.output = "second", .status = 2});
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
    /// Passes time in small steps until so many blocks have run, or for ten seconds.
    void passTimeUntil(const std::atomic<int>& blocks, int count) {
        for (int step = 0; step < 1000 && blocks < count; ++step) {
            machine().passTime(10ms);
        }
    }

    const VELWorkQueue& queue() { return machine().platform().workQueue(); }
};

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
    EXPECT_GE(machine().platform().ticks(), due);
    machine().passTime(50ms);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(order, "abcd");
}

TEST_P(WorkQueueContract, DoesNotRunABlockEarly) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(queue().after(1h, [count] { ++*count; }));
    machine().passTime(200ms);
    EXPECT_EQ(*count, 0);
}

TEST_P(WorkQueueContract, RunsAtOnceWhatIsDueAlready) {
    std::atomic<int> count = 0;
    const auto block = [&count] { ++count; };
    EXPECT_TRUE(queue().after(0ns, block));
    EXPECT_TRUE(queue().after(-5s, block));
    EXPECT_TRUE(queue().after(std::chrono::nanoseconds::min(), block));
    machine().passTime(0ns);
    passTimeUntil(count, 3);
    EXPECT_EQ(count, 3);
}

TEST_P(WorkQueueContract, AnEndlessDelayHoldsUpNoOther) {
    const auto count = std::make_shared<std::atomic<int>>(0);
    EXPECT_TRUE(queue().after(std::chrono::nanoseconds::max(), [count] { *count += 100; }));
    machine().passTime(50ms);
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
    for (int step = 0; step < 1000 && !seen.expired(); ++step) {
        machine().passTime(10ms);
    }
    EXPECT_TRUE(seen.expired());
}

const auto implementations = ::testing::Values(
    Implementation{"Simulated",
                   [] { return std::unique_ptr<Machine>(std::make_unique<SimulatedMachine>()); }},
    Implementation{"Linux",
                   [] { return std::unique_ptr<Machine>(std::make_unique<LinuxMachine>(true)); }},
    Implementation{"LinuxWithoutProcessHandles",
                   [] { return std::unique_ptr<Machine>(std::make_unique<LinuxMachine>(false)); }});

std::string nameOf(const ::testing::TestParamInfo<Implementation>& implementation) {
    return implementation.param.name;
}

INSTANTIATE_TEST_SUITE_P(Platforms, TaskContract, implementations, nameOf);
INSTANTIATE_TEST_SUITE_P(Platforms, WorkQueueContract, implementations, nameOf);

} // namespace
