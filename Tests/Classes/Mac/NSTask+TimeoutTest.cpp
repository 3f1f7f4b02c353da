// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/RecordingLogger.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <csignal>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

using Kind = VELSimulatedTaskEvent::Kind;

using namespace std::chrono_literals;

/// A moment of the virtual clock.
constexpr VELTimePoint at(std::chrono::nanoseconds sinceStart) {
    return VELTimePoint(sinceStart);
}

constexpr double forever = std::numeric_limits<double>::infinity();
const std::vector<std::string> command = {"/usr/bin/tool", "--state"};

class RunWithTimeout : public ::testing::Test {
protected:
    void SetUp() override { VELDTLogger::setLogger(_logger); }
    void TearDown() override { VELDTLogger::setLogger(nullptr); }

    std::optional<std::string> run(VELSimulatedRun description, double timeout = 10) {
        description.command = command;
        platform.tools = {std::move(description)};
        task = platform.task(command[0], {command[1]}, nullptr);
        return runWithTimeout(task, timeout, &error, platform);
    }

    /// The error is the one of the library with this code and message, and was logged once.
    void expectError(std::int64_t code, const std::string& message) {
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "com.vel.posturecheck");
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(error->userInfo(),
                  (VELDictionary{{"com.vel.posturecheck.unlocalized-description", message}}));
        const std::vector<LogLine> expected = {
            {3,
             "Error: Error Domain=com.vel.posturecheck Code=" + std::to_string(code) +
                 R"( UserInfo={"com.vel.posturecheck.unlocalized-description":")" + message + "\"}",
             "SetPostureCheckError"}};
        EXPECT_EQ(_logger->take(), expected);
    }

    void expectNoError() {
        EXPECT_FALSE(error);
        EXPECT_EQ(_logger->take(), std::vector<LogLine>());
    }

    std::vector<Kind> operations() const {
        std::vector<Kind> kinds;
        for (const VELSimulatedTaskEvent& event : platform.taskRecord.events()) {
            kinds.push_back(event.kind);
        }
        return kinds;
    }

    VELSimulatedPlatform platform;
    std::shared_ptr<VELTask> task;
    std::optional<VELError> error;

private:
    std::shared_ptr<RecordingLogger> _logger = std::make_shared<RecordingLogger>();
};

TEST_F(RunWithTimeout, ReturnsWhatTheToolPrinted) {
    EXPECT_EQ(run({.output = "State = 1\nGrüße\n"}), "State = 1\nGrüße\n");
    expectNoError();
    EXPECT_EQ(platform.taskRecord.launchedCommands(),
              (std::vector<std::vector<std::string>>{command}));
    EXPECT_EQ(platform.ticks(), at(0s));
}

TEST_F(RunWithTimeout, WaitsFirstAndReadsAfterwards) {
    EXPECT_EQ(run({.output = "done", .seconds = 3}), "done");
    const std::vector<VELSimulatedTaskEvent> expected = {
        {Kind::launch, at(0s), command}, {Kind::wait, at(0s), command},
        {Kind::status, at(3s), command}, {Kind::readOutput, at(3s), command},
        {Kind::close, at(3s), command},
    };
    EXPECT_EQ(platform.taskRecord.events(), expected);
    EXPECT_EQ(platform.time.afterCalls, 1U);
}

TEST_F(RunWithTimeout, NoOutputIsAnEmptyText) {
    EXPECT_EQ(run({}), "");
    expectNoError();
}

TEST_F(RunWithTimeout, KeepsNulBytes) {
    const std::string bytes("a\0b", 3);
    EXPECT_EQ(run({.output = bytes}), bytes);
}

TEST_F(RunWithTimeout, OutputThatIsNotUTF8IsNothingWithoutAnError) {
    for (const char* bytes : {"\xFF", "ok\xC3", "\xED\xA0\x80", "\xC0\x80", "\xF4\x90\x80\x80"}) {
        EXPECT_EQ(run({.output = bytes}), std::nullopt) << bytes;
        expectNoError();
    }
}

TEST_F(RunWithTimeout, AToolThatCanNotBeLaunchedIsError2) {
    EXPECT_EQ(run({.launchFailure = "launch path not accessible"}), std::nullopt);
    expectError(2, "Error launching task /usr/bin/tool: launch path not accessible");
    EXPECT_EQ(operations(), (std::vector{Kind::launch, Kind::close}));
    EXPECT_EQ(platform.time.afterCalls, 0U);
}

TEST_F(RunWithTimeout, AMissingToolIsError2) {
    EXPECT_EQ(runWithTimeout(platform.task("/bin/none", {}, nullptr), 10, &error, platform),
              std::nullopt);
    expectError(2, "Error launching task /bin/none: no such tool on this machine");
}

TEST_F(RunWithTimeout, AStatusOtherThanZeroIsError3AndTheOutputIsNotRead) {
    EXPECT_EQ(run({.output = "text", .status = 1}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 1.");
    EXPECT_EQ(operations(), (std::vector{Kind::launch, Kind::wait, Kind::status, Kind::close}));
}

TEST_F(RunWithTimeout, ASignalIsError3WithItsNumber) {
    EXPECT_EQ(run({.status = 0, .signal = SIGSEGV}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 11.");
}

TEST_F(RunWithTimeout, ALostStatusIsError3) {
    EXPECT_EQ(run({.output = "text", .statusIsLost = true}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code -1.");
}

TEST_F(RunWithTimeout, AToolThatOverstaysIsEndedAtTheTimeout) {
    EXPECT_EQ(run({.output = "late", .seconds = 11}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 15.");
    const std::vector<VELSimulatedTaskEvent> expected = {
        {Kind::launch, at(0s), command},     {Kind::wait, at(0s), command},
        {Kind::isRunning, at(10s), command}, {Kind::terminate, at(10s), command},
        {Kind::status, at(10s), command},    {Kind::close, at(10s), command},
    };
    EXPECT_EQ(platform.taskRecord.events(), expected);
}

TEST_F(RunWithTimeout, AToolThatEndsAtTheTimeoutIsNotEnded) {
    EXPECT_EQ(run({.output = "just so", .seconds = 10}), "just so");
    EXPECT_EQ(platform.taskRecord.terminations, 0U);
}

TEST_F(RunWithTimeout, AToolIsAskedToEndOnceAndNoHarder) {
    EXPECT_EQ(run({.output = "at last", .seconds = 3600, .ignoresTermination = true}), "at last");
    expectNoError();
    EXPECT_EQ(platform.taskRecord.terminations, 1U);
    EXPECT_EQ(platform.ticks(), at(3600s));
}

TEST_F(RunWithTimeout, AToolMayExitWithAStatusWhenAskedToEnd) {
    EXPECT_EQ(run({.seconds = 11, .statusOnTermination = 4}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 4.");
    EXPECT_EQ(run({.output = "partly", .seconds = 11, .statusOnTermination = 0}), "partly");
}

TEST_F(RunWithTimeout, OutputThatFillsAPipeIsReadWhole) {
    const std::string full(65'536, 'x');
    EXPECT_EQ(run({.output = full}), full);
    EXPECT_EQ(platform.ticks(), at(0s));
}

TEST_F(RunWithTimeout, OutputThatAPipeCanNotHoldRunsIntoTheTimeout) {
    EXPECT_EQ(run({.output = std::string(65'537, 'x')}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 15.");
    EXPECT_EQ(platform.ticks(), at(10s));
}

TEST_F(RunWithTimeout, OutputHeldByALeftProcessIsReadNoLongerThanToTheDeadline) {
    EXPECT_EQ(run({.output = "held", .seconds = 1, .secondsOutputIsHeld = forever}), std::nullopt);
    expectNoError();
    EXPECT_EQ(platform.ticks(), at(10s));
    EXPECT_EQ(platform.taskRecord.closes, 1U);
}

TEST_F(RunWithTimeout, OutputHeldForLessIsReadWhole) {
    EXPECT_EQ(run({.output = "held", .seconds = 1, .secondsOutputIsHeld = 8.5}), "held");
    EXPECT_EQ(platform.ticks(), at(9500ms));
}

TEST_F(RunWithTimeout, OutputThatCanNotBeReadIsNothingWithoutAnError) {
    EXPECT_EQ(run({.output = "lost", .outputReadFails = true}), std::nullopt);
    expectNoError();
    EXPECT_EQ(platform.taskRecord.closes, 1U);
}

TEST_F(RunWithTimeout, LeavesTheBlockToItsDeadline) {
    EXPECT_EQ(run({.output = "done"}), "done");
    const std::weak_ptr<VELTask> held = task;
    task = nullptr;
    EXPECT_EQ(platform.time.nextDue(), at(10s));
    platform.advanceTime(10s - 1ns);
    EXPECT_FALSE(held.expired());
    EXPECT_EQ(operations().back(), Kind::close);
    platform.advanceTime(1ns);
    EXPECT_TRUE(held.expired());
    EXPECT_EQ(operations().back(), Kind::isRunning);
    EXPECT_EQ(platform.taskRecord.terminations, 0U);
}

TEST_F(RunWithTimeout, SuccessLeavesAnEarlierErrorStanding) {
    error = VELError("earlier", 7, VELValue::object());
    EXPECT_EQ(run({.output = "done"}), "done");
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "earlier");
    EXPECT_EQ(run({.output = "\xFF"}), std::nullopt);
    EXPECT_EQ(error->domain(), "earlier");
}

TEST_F(RunWithTimeout, AFailureReplacesAnEarlierError) {
    error = VELError("earlier", 7, VELValue::object());
    EXPECT_EQ(run({.status = 9}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 9.");
}

TEST_F(RunWithTimeout, ACallerThatWantsNoErrorHearsOfNone) {
    platform.tools = {{.command = {"/bin/false"}, .status = 1}};
    EXPECT_EQ(runWithTimeout(platform.task("/bin/false", {}, nullptr), 10, nullptr, platform),
              std::nullopt);
    EXPECT_EQ(runWithTimeout(platform.task("/bin/none", {}, nullptr), 10, nullptr, platform),
              std::nullopt);
    expectNoError();
}

TEST_F(RunWithTimeout, ATimeoutThatIsNotPositiveEndsWhateverStillRuns) {
    for (const double timeout :
         {0.0, -0.0, -3.0, -1e300, -forever, std::numeric_limits<double>::quiet_NaN(), 0.9e-9}) {
        EXPECT_EQ(run({.output = "quick"}, timeout), "quick") << timeout;
        EXPECT_EQ(run({.seconds = 1}, timeout), std::nullopt) << timeout;
        expectError(3, "Task /usr/bin/tool exited with status code 15.");
        error.reset();
        EXPECT_EQ(platform.ticks(), at(0s));
    }
}

TEST_F(RunWithTimeout, AHugeTimeoutIsTheLongestThereIs) {
    for (const double timeout : {1e10, 1e300, forever}) {
        EXPECT_EQ(run({.output = "slow", .seconds = 1}, timeout), "slow") << timeout;
    }
    EXPECT_EQ(platform.time.nextDue(), VELTimePoint::max());
    EXPECT_EQ(platform.ticks(), at(3s));
}

TEST_F(RunWithTimeout, FractionsOfANanosecondAreCutOff) {
    EXPECT_EQ(run({.seconds = 2}, 1.0000000019), std::nullopt);
    EXPECT_EQ(platform.ticks(), at(1s + 1ns));
}

TEST_F(RunWithTimeout, WithoutAWorkerAToolMustHaveEndedAlready) {
    platform.time.refusesWorker = true;
    EXPECT_EQ(run({.output = "quick"}), "quick");
    expectNoError();
    EXPECT_EQ(run({.seconds = 1}), std::nullopt);
    expectError(3, "Task /usr/bin/tool exited with status code 15.");
    EXPECT_EQ(platform.ticks(), at(0s));
}

TEST_F(RunWithTimeout, AnExceptionOfAnotherKindPassesOn) {
    class RaisingTask final : public VELTask {
    public:
        const std::string& launchPath() const override { return command[0]; }
        void launch() override { throw std::length_error("not a launch failure"); }
        bool isRunning() const override { return false; }
        void terminate() override {}
        void waitUntilExit() override {}
        std::int32_t terminationStatus() const override { return 0; }
        std::optional<std::string> readOutputToEnd(VELTimePoint) override { return ""; }
        void close() noexcept override { ++closes; }
        int closes = 0;
    };
    const auto raising = std::make_shared<RaisingTask>();
    EXPECT_THROW(runWithTimeout(raising, 10, &error, platform), std::length_error);
    expectNoError();
    EXPECT_EQ(raising->closes, 1);
}

TEST_F(RunWithTimeout, AToolThatNeverEndsIsToldApart) {
    EXPECT_THROW(run({.output = std::string(65'537, 'x'), .ignoresTermination = true}),
                 std::runtime_error);
    EXPECT_EQ(platform.ticks(), at(10s));
}

TEST(WaitUntilExitWithTimeout, ReturnsOnceTheTaskHasExited) {
    VELSimulatedPlatform platform;
    platform.tools = {{.command = {"/bin/quick"}, .seconds = 2},
                      {.command = {"/bin/slow"}, .seconds = 20}};
    const auto quick = platform.task("/bin/quick", {}, nullptr);
    quick->launch();
    waitUntilExitWithTimeout(quick, 5, platform);
    EXPECT_EQ(platform.ticks(), at(2s));
    EXPECT_EQ(quick->terminationStatus(), 0);

    const auto slow = platform.task("/bin/slow", {}, nullptr);
    slow->launch();
    waitUntilExitWithTimeout(slow, 5, platform);
    EXPECT_EQ(platform.ticks(), at(7s));
    EXPECT_EQ(slow->terminationStatus(), SIGTERM);
    // The deadline of the first came meanwhile and found it gone.
    EXPECT_EQ(platform.taskRecord.terminations, 1U);
    EXPECT_EQ(platform.time.pendingBlocks(), 0U);
}

} // namespace
