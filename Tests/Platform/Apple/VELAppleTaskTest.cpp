// SPDX-License-Identifier: Apache-2.0
//
// How the Mac's platform starts a child: what it asks for, and what a real child then gets.
#include "Tests/Platform/Apple/AppleOnStandIns.h"
#include "Tests/Platform/Apple/StandIns/StandInSpawn.h"
#include "Tests/Support/ProcessResources.h"
#include "Tests/Support/Sanitized.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

constexpr int resetSignals = 0x0004 | 0x0008;
constexpr int closeByDefault = 0x4000;

class VELAppleTaskTest : public ::testing::Test {
protected:
    VELAppleTaskTest() { spawn() = StandInSpawn(); }
    ~VELAppleTaskTest() override {
        EXPECT_EQ(spawn().leftAlive, 0);
        EXPECT_EQ(ProcessResources::settled(_before), _before);
    }

    static StandInSpawn& spawn() { return StandInSpawn::ofProgram(); }

    std::shared_ptr<VELTask> task(Texts arguments) const {
        return _machine.platform().task(VEL_TASK_TOOL, std::move(arguments),
                                        _machine.platform().openWorkingPlace());
    }

    /// What the tool prints.
    std::optional<std::string> outputOf(Texts arguments) const {
        const auto tool = task(std::move(arguments));
        tool->launch();
        tool->waitUntilExit();
        return tool->readOutputToEnd(_machine.platform().ticks() + 30s);
    }

    std::string launchFailure() const {
        const auto tool = task({});
        try {
            tool->launch();
        } catch (const VELTaskLaunchFailure& failure) {
            EXPECT_FALSE(tool->isRunning());
            return failure.what();
        }
        return "launched";
    }

private:
    AppleOnStandIns _machine;
    const ProcessResources _before = ProcessResources::now();
};

/// A descriptor of this process, closed while this lives.
class ClosedDescriptor {
public:
    explicit ClosedDescriptor(int number)
        : _number(number), _kept(::fcntl(number, F_DUPFD_CLOEXEC, 100)) {
        ::close(number);
    }
    ClosedDescriptor(const ClosedDescriptor&) = delete;
    ClosedDescriptor& operator=(const ClosedDescriptor&) = delete;
    ~ClosedDescriptor() {
        ::dup2(_kept, _number);
        ::close(_kept);
    }

private:
    int _number;
    int _kept;
};

/// The line of a report that starts with `name`, without it.
std::string lineOf(const std::string& report, const std::string& name) {
    const std::size_t start = report.find(name);
    if (start == std::string::npos) {
        return "no " + name;
    }
    return report.substr(start + name.size(), report.find('\n', start) - start - name.size());
}

TEST_F(VELAppleTaskTest, AsksForNoDescriptorButThoseItNames) {
    EXPECT_EQ(outputOf({"--output-hex", "6f6b"}), "ok");
    ASSERT_EQ(spawn().requests.size(), 1U);
    const StandInSpawn::Request& request = spawn().requests.front();
    EXPECT_EQ(request.path, VEL_TASK_TOOL);
    EXPECT_EQ(request.flags, closeByDefault | resetSignals);
    EXPECT_TRUE(request.sourcesCloseOnExec);
    ASSERT_EQ(request.actions.size(), 3U);
    EXPECT_TRUE(request.actions[0].starts_with("dup2 ") && request.actions[0].ends_with(" 1"))
        << request.actions[0];
    EXPECT_EQ(Texts(request.actions.begin() + 1, request.actions.end()),
              Texts({"inherit 0", "inherit 2"}));
}

TEST_F(VELAppleTaskTest, AChildGetsTheStandardStreamsAloneWhateverTheHostHasOpen) {
    const int leaked = ::fcntl(STDERR_FILENO, F_DUPFD, 50);
    const auto report = outputOf({"--report"}).value();
    ::close(leaked);
    EXPECT_EQ(lineOf(report, "descriptors"), " 0 1 2");
}

TEST_F(VELAppleTaskTest, AStreamThatTheHostHasClosedIsNotNamedAsInherited) {
    for (const int stream : {STDIN_FILENO, STDERR_FILENO}) {
        spawn().requests.clear();
        std::string report;
        {
            const ClosedDescriptor closed(stream);
            report = outputOf({"--report"}).value();
        }
        const Texts& actions = spawn().requests.at(0).actions;
        const std::string number = std::to_string(stream);
        EXPECT_EQ(Texts(actions.begin() + 1, actions.end()),
                  Texts({"open " + number + " /dev/null",
                         stream == STDIN_FILENO ? "inherit 2" : "inherit 0"}));
        EXPECT_EQ(lineOf(report, "descriptors"), " 0 1 2");
    }
}

TEST_F(VELAppleTaskTest, AChildStartsWithItsSignalsResetWhateverTheHostDoesWithThem) {
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    sigset_t blocked;
    sigset_t mask;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &mask);
    const auto report = outputOf({"--report"}).value();
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    std::signal(SIGUSR1, before);
    EXPECT_EQ(lineOf(report, "blocked"), "");
    EXPECT_EQ(lineOf(report, "ignored"), "");
}

TEST_F(VELAppleTaskTest, TheReadingEndClosesWhenTheHostStartsAProgram) {
    const auto openAbove = [] {
        std::set<int> open;
        for (int descriptor = 3; descriptor < 256; ++descriptor) {
            if (::fcntl(descriptor, F_GETFD) >= 0) {
                open.insert(descriptor);
            }
        }
        return open;
    };
    const auto before = openAbove();
    const auto tool = task({"--output-hex", "6f6b"});
    tool->launch();
    int opened = 0;
    for (const int descriptor : openAbove()) {
        if (!before.contains(descriptor)) {
            ++opened;
            EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
        }
    }
    EXPECT_EQ(opened, 1) << "the reading end alone: a Mac has no handles for processes";
    tool->waitUntilExit();
    tool->close();
}

TEST_F(VELAppleTaskTest, EachCallThatFailsMakesTheLaunchFailWithItsError) {
    for (const char* call :
         {"posix_spawnattr_init", "posix_spawnattr_getflags", "posix_spawnattr_setflags",
          "posix_spawnattr_setsigdefault", "posix_spawnattr_setsigmask",
          "posix_spawn_file_actions_init", "posix_spawn_file_actions_adddup2",
          "posix_spawn_file_actions_addinherit_np", "posix_spawn"}) {
        spawn().failures = {{call, ENOMEM}};
        EXPECT_EQ(launchFailure(), "Couldn't posix_spawn: error 12") << call;
        EXPECT_EQ(spawn().leftAlive, 0) << call;
    }
    spawn().failures = {{"posix_spawn_file_actions_addopen", ENOMEM}};
    {
        const ClosedDescriptor closed(STDIN_FILENO);
        EXPECT_EQ(launchFailure(), "Couldn't posix_spawn: error 12");
    }
    spawn().failures = {};
    EXPECT_EQ(outputOf({"--output-hex", "6f6b"}), "ok");
}

TEST_F(VELAppleTaskTest, WithoutADescriptorThereIsNoPipe) {
    if (VEL_SANITIZED != 0) {
        GTEST_SKIP() << "a sanitizer needs descriptors itself";
    }
    rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 3;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const std::string failure = launchFailure();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(failure, "Couldn't create a pipe: error 24");
}

TEST_F(VELAppleTaskTest, OfTheExitValueTheLowEightBitsAreTheStatus) {
    spawn().furtherExitBits = 0x7F000000;
    for (const int status : {0, 1, 255}) {
        const auto tool = task({"--status", std::to_string(status)});
        tool->launch();
        tool->waitUntilExit();
        EXPECT_EQ(tool->terminationStatus(), status);
    }
    const auto tool = task({"--signal", std::to_string(SIGKILL)});
    tool->launch();
    tool->waitUntilExit();
    EXPECT_EQ(tool->terminationStatus(), SIGKILL);
}

TEST_F(VELAppleTaskTest, AStatusThatTheHostDiscardsIsLost) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const auto tool = task({});
    tool->launch();
    tool->waitUntilExit();
    std::signal(SIGCHLD, before);
    EXPECT_EQ(tool->terminationStatus(), -1);
}

} // namespace
