// SPDX-License-Identifier: Apache-2.0
//
// What real processes do, and what a run makes of it.
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/POSIX/VELChildProcess.h"
#include "Platform/POSIX/VELMonotonicClock.h"
#include "Tests/Support/AllocationCount.h"
#include "Tests/Support/ProcessResources.h"
#include "Tests/Support/TaskTool.h"
#include "Tests/Support/TemporaryFolder.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr double longTimeout = 30;
constexpr double shortTimeout = 0.2;
constexpr double forever = std::numeric_limits<double>::infinity();
const std::string tool = VEL_TASK_TOOL;

/// What a run gave: "output TEXT", "nothing", or "error CODE TEXT".
using Outcome = std::string;

Outcome exited(int status) {
    return "error 3 Task " + tool + " exited with status code " + std::to_string(status) + ".";
}

/// With and without handles for processes. Each test leaves behind nothing but the one worker.
class VELPOSIXTaskTest : public ::testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        std::atomic<bool> ran = false;
        ASSERT_TRUE(_platform.workQueue().after(0s, [&ran] { ran = true; }));
        while (!ran) {
            std::this_thread::sleep_for(1ms);
        }
        _before = ProcessResources::now();
    }

    void TearDown() override { expectNothingLeft(); }

    void expectNothingLeft() { EXPECT_EQ(ProcessResources::settled(_before), _before); }

    Outcome run(std::vector<std::string> command, double timeout = longTimeout) {
        VELPOSIXTask::Options options;
        options.usesProcessHandle = GetParam();
        const std::string launchPath = command.front();
        command.erase(command.begin());
        const auto task = std::make_shared<VELPOSIXTask>(launchPath, std::move(command), options);
        std::optional<VELError> error;
        const auto start = std::chrono::steady_clock::now();
        const std::optional<std::string> output = runWithTimeout(task, timeout, &error, _platform);
        elapsed = std::chrono::steady_clock::now() - start;
        if (error) {
            return "error " + std::to_string(error->code()) + " " + error->message();
        }
        return output ? "output " + *output : "nothing";
    }

    Outcome run(const VELSimulatedRun& description, double timeout = longTimeout) {
        return run(taskToolCommand(description), timeout);
    }

    std::chrono::steady_clock::duration elapsed{};

private:
    VELLinuxPlatform _platform;
    ProcessResources _before;
};

TEST_P(VELPOSIXTaskTest, EveryExitStatus) {
    EXPECT_EQ(run({.output = "zero", .status = 0}), "output zero");
    for (int status = 1; status <= 255; ++status) {
        ASSERT_EQ(run({.output = "lost", .status = status}), exited(status));
    }
}

TEST_P(VELPOSIXTaskTest, EveryDeadlySignal) {
    std::vector<int> signals = {SIGHUP,  SIGINT,  SIGQUIT, SIGILL,  SIGTRAP, SIGABRT,
                                SIGBUS,  SIGFPE,  SIGKILL, SIGUSR1, SIGSEGV, SIGUSR2,
                                SIGPIPE, SIGALRM, SIGTERM, SIGXCPU, SIGXFSZ, SIGVTALRM,
                                SIGPROF, SIGIO,   SIGPWR,  SIGSYS};
    for (int signal = SIGRTMIN; signal <= SIGRTMAX; ++signal) {
        signals.push_back(signal);
    }
    for (const int signal : signals) {
        EXPECT_EQ(run({.output = "lost", .signal = signal}), exited(signal));
    }
}

TEST_P(VELPOSIXTaskTest, AToolThatOverstaysIsEndedAtTheTimeout) {
    EXPECT_EQ(run({.output = "late", .seconds = 30}, shortTimeout), exited(SIGTERM));
    EXPECT_GE(elapsed, 200ms);
}

TEST_P(VELPOSIXTaskTest, AToolThatIgnoresTheRequestKeepsTheCaller) {
    EXPECT_EQ(run({.output = "at last", .seconds = 1.5, .ignoresTermination = true}, 1),
              "output at last");
    EXPECT_GE(elapsed, 1500ms);
}

TEST_P(VELPOSIXTaskTest, AToolThatFinishesAtOnceReturnsAtOnce) {
    constexpr double hour = 3600; // whoever waits for it is noticed
    EXPECT_EQ(run({"/bin/true"}, hour), "output ");
}

TEST_P(VELPOSIXTaskTest, WithoutMemoryNoToolIsLeftRunning) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "a sanitizer's allocator does not refuse memory";
    }
    const VELLinuxPlatform platform;
    VELPOSIXTask::Options options;
    options.usesProcessHandle = GetParam();
    bool hasEnoughMemory = false;
    for (std::size_t successes = 0; !hasEnoughMemory; ++successes) {
        const auto task =
            std::make_shared<VELPOSIXTask>("/bin/sleep", std::vector<std::string>{"30"}, options);
        try {
            const AllocationFailure noMemory(successes);
            runWithTimeout(task, shortTimeout, nullptr, platform);
            hasEnoughMemory = true;
        } catch (const std::bad_alloc&) {
            EXPECT_FALSE(task->isRunning()) << successes;
        }
        EXPECT_NE(task->terminationStatus(), 0);
    }
}

TEST_P(VELPOSIXTaskTest, OutputOfEverySize) {
    for (const std::size_t size : {0U, 1U, 4095U, 4096U, 4097U, 65'535U, 65'536U}) {
        const std::string text(size, 'x');
        EXPECT_EQ(run({.output = text}), "output " + text) << size;
    }
    for (const std::size_t size : {65'537U, 1'000'000U}) {
        EXPECT_EQ(run({.output = std::string(size, 'x')}, shortTimeout), exited(SIGTERM)) << size;
        EXPECT_GE(elapsed, 200ms);
    }
}

TEST_P(VELPOSIXTaskTest, OutputThatIsNotUTF8IsNothing) {
    EXPECT_EQ(run({.output = "\xFF\xFE"}), "nothing");
    EXPECT_EQ(run({.output = "cut off \xE2\x82"}), "nothing");
}

TEST_P(VELPOSIXTaskTest, AToolThatClosesItsOutputAndLivesOnIsWaitedFor) {
    EXPECT_EQ(run({tool, "--output-hex", "6f6b", "--close-output", "--seconds", "0.4"}),
              "output ok");
    EXPECT_GE(elapsed, 400ms);
    EXPECT_EQ(run({tool, "--close-output", "--seconds", "30"}, shortTimeout), exited(SIGTERM));
}

TEST_P(VELPOSIXTaskTest, OutputHeldByALeftProcessIsReadNoLongerThanToTheDeadline) {
    EXPECT_EQ(run({.output = "held", .secondsOutputIsHeld = forever}, 0.5), "nothing");
    EXPECT_GE(elapsed, 500ms);
    expectNothingLeft();
    EXPECT_EQ(run({.output = "held", .secondsOutputIsHeld = 0.2}), "output held");
}

TEST_P(VELPOSIXTaskTest, ALeftProcessThatGoesOnPrintingIsReadNoLongerThanToTheDeadline) {
    EXPECT_EQ(run({"/bin/sh", "-c", "(while echo x; do :; done) & exit 0"}, 0.4), "nothing");
    EXPECT_GE(elapsed, 400ms);
}

TEST_P(VELPOSIXTaskTest, TheEnvironmentIsTheOneThatIsGiven) {
    for (const auto& [environment, output] :
         {std::pair(std::vector<std::string>{"A=b", "C="}, "A=b\nC=\n"),
          std::pair(std::vector<std::string>(), "")}) {
        VELPOSIXTask task("/usr/bin/env", {}, {.environment = environment});
        task.launch();
        task.waitUntilExit();
        EXPECT_EQ(task.readOutputToEnd({}), output);
    }
}

TEST_P(VELPOSIXTaskTest, AnObjectionIsTheReasonOfAFailedLaunch) {
    std::string asked;
    VELPOSIXTask task("/bin/true", {}, {.objection = [&asked](const std::string& path) {
                          asked = path;
                          return "no";
                      }});
    try {
        task.launch();
        ADD_FAILURE() << "launched";
    } catch (const VELTaskLaunchFailure& failure) {
        EXPECT_STREQ(failure.what(), "no");
    }
    EXPECT_EQ(asked, "/bin/true");
}

TEST_P(VELPOSIXTaskTest, AToolThatHasMoreToPrintIsReadNoLongerThanToTheDeadline) {
    const TemporaryFolder folder;
    const std::string ready = folder.place("ready");
    VELPOSIXTask task("/bin/sh",
                      {"-c", "head -c 65536 /dev/zero; : > " + ready + "; exec sleep 1000"},
                      {.usesProcessHandle = GetParam()});
    task.launch();
    while (!std::filesystem::exists(ready)) {
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(task.readOutputToEnd({}), std::nullopt);
    task.terminate();
    task.waitUntilExit();
    const auto rest = task.readOutputToEnd({});
    ASSERT_TRUE(rest);
    EXPECT_FALSE(rest->empty()) << "although there was more to read at the deadline";
    task.close();
}

TEST_P(VELPOSIXTaskTest, AStoppedToolIsStillRunning) {
    EXPECT_EQ(run({"/bin/sh", "-c",
                   "(/bin/sleep 0.3; kill -CONT $$) >/dev/null & kill -STOP $$; echo woken"}),
              "output woken\n");
    EXPECT_GE(elapsed, 300ms);
}

TEST_P(VELPOSIXTaskTest, ATimeoutAtTheMomentOfTheExitIsHarmless) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const Outcome outcome = run({.output = "done"}, attempt * 2e-5);
        ASSERT_TRUE(outcome == "output done" || outcome == exited(SIGTERM)) << outcome;
    }
}

/// A folder of its own with files that can not be launched.
class LaunchFailure : public VELPOSIXTaskTest {
protected:
    void SetUp() override {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "vel-launch-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        _folder = pattern;
        VELPOSIXTaskTest::SetUp();
    }

    void TearDown() override {
        VELPOSIXTaskTest::TearDown();
        std::filesystem::remove_all(_folder);
    }

    std::string path(const std::string& name) const { return (_folder / name).string(); }

    std::string file(const std::string& name, const std::string& contents, bool executable = true) {
        std::ofstream(path(name)) << contents;
        std::filesystem::permissions(path(name), executable ? std::filesystem::perms(0755)
                                                            : std::filesystem::perms(0644));
        return path(name);
    }

    static Outcome failed(const std::string& launchPath, const std::string& reason) {
        return "error 2 Error launching task " + launchPath + ": " + reason;
    }

    void expectNotAccessible(const std::string& launchPath) {
        EXPECT_EQ(run({launchPath}), failed(launchPath, "launch path not accessible"));
    }

private:
    std::filesystem::path _folder;
};

TEST_P(LaunchFailure, AMissingFile) {
    expectNotAccessible("/no/such/tool");
    expectNotAccessible("");
    expectNotAccessible(file("plain", "#!/bin/sh\n") + "/below-a-file");
    expectNotAccessible("/" + std::string(5000, 'x'));
    std::filesystem::create_symlink("nowhere", path("dangling"));
    expectNotAccessible(path("dangling"));
}

TEST_P(LaunchFailure, AFileThatIsNotExecutable) {
    expectNotAccessible(file("not-executable", "#!/bin/sh\n", false));
}

TEST_P(LaunchFailure, WhatIsNoFile) {
    expectNotAccessible("/tmp");
    expectNotAccessible("/dev/null");
}

TEST_P(LaunchFailure, AFileThatIsNoProgram) {
    const std::string garbage = file("garbage", std::string("\x01\x02\x03\0", 4));
    EXPECT_EQ(run({garbage}), failed(garbage, "Couldn't posix_spawn: error 8"));
    const std::string empty = file("empty", "");
    EXPECT_EQ(run({empty}), failed(empty, "Couldn't posix_spawn: error 8"));
}

TEST_P(LaunchFailure, AScriptWithoutInterpreter) {
    const std::string none = file("none", "echo hello\n");
    EXPECT_EQ(run({none}), failed(none, "Couldn't posix_spawn: error 8"));
    const std::string missing = file("missing", "#!/no/such/interpreter\necho hello\n");
    EXPECT_EQ(run({missing}), failed(missing, "Couldn't posix_spawn: error 2"));
    const std::string present = file("present", "#!/bin/sh\necho hello\n");
    EXPECT_EQ(run({present}), "output hello\n");
}

TEST_P(LaunchFailure, AFileThatIsBeingWritten) {
    const std::string busy = path("busy");
    std::filesystem::copy_file(tool, busy);
    const VELDescriptor writer(::open(busy.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_EQ(run({busy}), failed(busy, "Couldn't posix_spawn: error 26"));
}

TEST_P(LaunchFailure, ArgumentsThatAreTooLong) {
    EXPECT_EQ(run({"/bin/true", std::string(std::size_t{1} << 22U, 'x')}),
              failed("/bin/true", "Couldn't posix_spawn: error 7"));
}

TEST_P(VELPOSIXTaskTest, AStoppedToolIsEndedAtTheTimeout) {
    EXPECT_EQ(run({tool, "--signal", std::to_string(SIGSTOP), "--status", "0"}, shortTimeout),
              exited(SIGTERM));
}

TEST(SpawnFlags, AreAdded) {
    posix_spawnattr_t attributes;
    ASSERT_EQ(::posix_spawnattr_init(&attributes), 0);
    EXPECT_EQ(vel::child::addSpawnFlags(&attributes, POSIX_SPAWN_SETPGROUP), 0);
    EXPECT_EQ(vel::child::addSpawnFlags(&attributes, POSIX_SPAWN_SETSIGMASK), 0);
    short flags = 0;
    EXPECT_EQ(::posix_spawnattr_getflags(&attributes, &flags), 0);
    EXPECT_EQ(flags, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    ::posix_spawnattr_destroy(&attributes);
}

pid_t childThatWaits() {
    const pid_t child = ::fork();
    while (child == 0) {
        ::pause();
    }
    return child;
}

TEST(ProcessHandle, TellsWhetherASignalWasSent) {
    const pid_t child = childThatWaits();
    const VELDescriptor handle = vel::child::openHandle(child);
    errno = 0;
    EXPECT_TRUE(vel::child::sendSignal(handle, SIGKILL));
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_TRUE(vel::child::sendSignal(handle, SIGKILL)) << "it needs none any more";
    EXPECT_FALSE(vel::child::sendSignal(VELDescriptor(), SIGKILL));
}

TEST(ProcessHandle, IsOfARunningProcessUnlessItsExitIsKnown) {
    const pid_t child = childThatWaits();
    const VELDescriptor handle = vel::child::openHandle(child);
    rlimit limit;
    ::getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none = {0, limit.rlim_max}; // the kernel polls no descriptor then
    ::setrlimit(RLIMIT_NOFILE, &none);
    const bool isTakenForRunning = vel::child::isRunning(handle);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_TRUE(isTakenForRunning);
    EXPECT_TRUE(vel::child::isRunning(handle));
    ::kill(child, SIGKILL);
    siginfo_t exited;
    ::waitid(P_PID, static_cast<id_t>(child), &exited, WEXITED | WNOWAIT);
    EXPECT_FALSE(vel::child::isRunning(handle));
    ::waitpid(child, nullptr, 0);
}

TEST_P(VELPOSIXTaskTest, ATaskThatIsNeverLaunchedHasNothing) {
    VELPOSIXTask task("/bin/true", {});
    task.waitUntilExit();
    EXPECT_EQ(task.terminationStatus(), -1);
    EXPECT_EQ(task.readOutputToEnd(VELTimePoint::max()), std::nullopt);
}

TEST_P(VELPOSIXTaskTest, ATaskDroppedAfterItsExitLeavesNoZombie) {
    VELPOSIXTask::Options options;
    options.usesProcessHandle = GetParam();
    VELPOSIXTask task("/bin/true", {}, options);
    task.launch();
    while (task.isRunning()) {
        std::this_thread::sleep_for(1ms);
    }
}

TEST_P(VELPOSIXTaskTest, WaitsForAnExitUntilADeadline) {
    VELPOSIXTask::Options options;
    options.usesProcessHandle = GetParam();
    VELPOSIXTask task(tool, {"--seconds", "30"}, options);
    task.launch();
    EXPECT_FALSE(task.exitsBefore(vel::monotonicNow() - 1s));
    EXPECT_FALSE(task.exitsBefore(vel::monotonicNow() + 20ms));
    task.kill();
    EXPECT_TRUE(task.exitsBefore(VELTimePoint::max()));
    EXPECT_EQ(task.terminationStatus(), -1);
    task.waitUntilExit();
    EXPECT_EQ(task.terminationStatus(), SIGKILL);
    EXPECT_TRUE(task.exitsBefore(vel::monotonicNow()));
}

std::string nameOf(const ::testing::TestParamInfo<bool>& usesHandle) {
    return usesHandle.param ? "ByHandle" : "ByNumber";
}

INSTANTIATE_TEST_SUITE_P(Children, VELPOSIXTaskTest, ::testing::Bool(), nameOf);
INSTANTIATE_TEST_SUITE_P(Children, LaunchFailure, ::testing::Bool(), nameOf);

/// What a shell script printed, started with these options; nothing when it could not be read.
std::optional<std::string> outputOf(const std::string& script, VELPOSIXTask::Options options) {
    VELPOSIXTask task("/bin/sh", {"-c", script}, std::move(options));
    task.launch();
    auto output = task.readOutputToEnd(vel::monotonicNow() + 60s);
    task.kill();
    task.waitUntilExit();
    return output;
}

TEST(VELPOSIXTaskOptions, TheEnvironmentIsTheOneGiven) {
    const std::string script = "echo \"[$VEL_ONE] [$VEL_TWO] [$HOME]\"";
    EXPECT_EQ(
        outputOf(script, {.environment = std::vector<std::string>{"VEL_ONE=1", "VEL_TWO=a b"}}),
        "[1] [a b] []\n");
    EXPECT_EQ(outputOf(script, {.environment = std::vector<std::string>()}), "[] [] []\n");
    const char* home = std::getenv("HOME");
    EXPECT_EQ(outputOf(script, {}), "[] [] [" + std::string(home == nullptr ? "" : home) + "]\n");
}

TEST(VELPOSIXTaskOptions, NullStreamsReachNobody) {
    EXPECT_EQ(
        outputOf("readlink /proc/self/fd/0; readlink /proc/$$/fd/2", {.usesNullStreams = true}),
        "/dev/null\n/dev/null\n");
}

TEST(VELPOSIXTaskOptions, OutputIsReadUpToTheLimit) {
    const auto bytes = [](int count) {
        return "head -c " + std::to_string(count) + " /dev/zero | tr '\\0' x";
    };
    EXPECT_EQ(outputOf(bytes(200'000), {.outputLimit = 200'000}), std::string(200'000, 'x'));
    EXPECT_EQ(outputOf(bytes(200'001), {.outputLimit = 200'000}), std::nullopt);
    EXPECT_EQ(outputOf("exec cat /dev/zero", {.outputLimit = 200'000}), std::nullopt);
}

TEST(VELPOSIXTaskOptions, OutputWithoutEndIsNotRead) {
    EXPECT_EQ(outputOf("head -c 67108864 /dev/zero", {}).value_or("").size(), 67'108'864U);
    EXPECT_FALSE(outputOf("head -c 67108865 /dev/zero", {}));
}

TEST(VELPOSIXTaskOptions, AToolThatIgnoresTheRequestIsKilled) {
    VELPOSIXTask task("/bin/sh", {"-c", "trap '' TERM; echo ready; exec >&-; exec sleep 86399"});
    task.kill(); // nothing runs yet
    task.launch();
    EXPECT_EQ(task.readOutputToEnd(vel::monotonicNow() + 60s), "ready\n");
    task.terminate();
    task.kill();
    task.waitUntilExit();
    EXPECT_EQ(task.terminationStatus(), SIGKILL);
    task.kill(); // nor any more
}

} // namespace
