// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFirewallCheck.h"
#include "Tests/Support/ToolCheckTest.h"

#include <limits>
#include <string_view>

namespace {

constexpr const char* tool = "/usr/libexec/ApplicationFirewall/socketfilterfw";
constexpr const char* function = "-[VELFirewallCheck isMacFirewallEnabledError:]";
const char* const launchMessage = "Error launching task "
                                  "/usr/libexec/ApplicationFirewall/socketfilterfw: "
                                  "no such tool on this machine";
const LogLine fallback = {1, "Firewall check falling back", function};

LogLine stateLine(const std::string& state) {
    return {1, "Firewall state is: " + state, function};
}

class VELFirewallCheckTest : public ToolCheckTest {
protected:
    void print(std::string output) { answer(command, std::move(output)); }
    void prefer(VELValue state) {
        mac->preferenceStore.machine["com.apple.alf"]["globalstate"] = std::move(state);
    }
    bool run() {
        return VELFirewallCheck(mac).runCheckWithParameters({{"type", "localFirewall"}}, &error);
    }

    const Command command = {tool, "--getglobalstate"};
};

TEST_F(VELFirewallCheckTest, RequiresNoParameters) {
    EXPECT_FALSE(VELFirewallCheck(mac).requiredParameters());
}

TEST_F(VELFirewallCheckTest, PassesWhenTheToolSaysOn) {
    print("Firewall is enabled. (State = 1)\n");
    prefer(0);
    EXPECT_TRUE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{stateLine("1")});
    EXPECT_EQ(launched(), Commands{command});
    EXPECT_EQ(mac->preferenceStore.appIntegerValueCalls, 0U);
}

TEST_F(VELFirewallCheckTest, PassesForEveryPositiveState) {
    print("Firewall is enabled for specific services. (State = 2)");
    EXPECT_TRUE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{stateLine("2")});
}

TEST_F(VELFirewallCheckTest, FailsWhenTheToolSaysOffWhateverThePreference) {
    print("Firewall is disabled. (State = 0)\n");
    prefer(1);
    EXPECT_FALSE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{stateLine("0")});
    EXPECT_EQ(mac->preferenceStore.appIntegerValueCalls, 0U);
}

TEST_F(VELFirewallCheckTest, SaturatesTheState) {
    print("State = 4294967296\n");
    EXPECT_TRUE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{stateLine("2147483647")});
}

TEST_F(VELFirewallCheckTest, TakesDigitsOfOtherScriptsForOff) {
    print("State = ٣\n");
    prefer(1);
    EXPECT_FALSE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{stateLine("0")});
}

TEST_F(VELFirewallCheckTest, FallsBackWithoutAnErrorWhenTheToolSaysNothingUsable) {
    for (const char* output : {"", "Firewall is enabled.", "State = on", "State = -1"}) {
        mac->tools.clear();
        print(output);
        prefer(1);
        EXPECT_TRUE(run()) << output;
        EXPECT_FALSE(error) << output;
        EXPECT_EQ(logger->take(), (Lines{fallback, stateLine("1")})) << output;
    }
}

TEST_F(VELFirewallCheckTest, FallsBackWithoutAnErrorWhenTheOutputIsNotText) {
    print("State = 1\xFF");
    prefer(0);
    EXPECT_FALSE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{fallback, stateLine("0")}));
}

TEST_F(VELFirewallCheckTest, FailsForANegativePreference) {
    print("");
    prefer(-1);
    EXPECT_FALSE(run());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{fallback, stateLine("-1")}));
}

TEST_F(VELFirewallCheckTest, DoesNotNarrowThePreference) {
    print("");
    prefer(std::int64_t{1} << 40U);
    EXPECT_TRUE(run());
    EXPECT_EQ(logger->take(), (Lines{fallback, stateLine("1099511627776")}));
}

TEST_F(VELFirewallCheckTest, LeavesTheLaunchErrorBesideAPass) {
    prefer(1);
    EXPECT_TRUE(run());
    expectError(error, 2, launchMessage);
    EXPECT_EQ(logger->take(), (Lines{errorLine(2, launchMessage), fallback, stateLine("1")}));
    EXPECT_EQ(launched(), Commands{command});
}

TEST_F(VELFirewallCheckTest, LeavesTheLaunchErrorBesideAFailure) {
    prefer(0);
    EXPECT_FALSE(run());
    expectError(error, 2, launchMessage);
    EXPECT_EQ(logger->take(), (Lines{errorLine(2, launchMessage), fallback, stateLine("0")}));
}

TEST_F(VELFirewallCheckTest, LeavesTheExitErrorBesideAPass) {
    const std::string message = std::string("Task ") + tool + " exited with status code 7.";
    fail(command, 7);
    mac->tools.back().output = "State = 0";
    prefer(1);
    EXPECT_TRUE(run());
    expectError(error, 3, message);
    EXPECT_EQ(logger->take(), (Lines{errorLine(3, message), fallback, stateLine("1")}));
}

TEST_F(VELFirewallCheckTest, FallsBackAfterTenSeconds) {
    const std::string message = std::string("Task ") + tool + " exited with status code 15.";
    print("State = 0");
    mac->tools.back().seconds = 60;
    prefer(1);
    EXPECT_TRUE(run());
    expectError(error, 3, message);
    EXPECT_EQ(mac->ticks(), VELTimePoint(std::chrono::seconds(10)));
}

TEST_F(VELFirewallCheckTest, ReplacesTheLaunchErrorWhenThereIsNoStateAtAll) {
    EXPECT_FALSE(run());
    expectError(error, 0, "Error getting firewall state.");
    EXPECT_EQ(logger->take(), (Lines{errorLine(2, launchMessage), fallback,
                                     errorLine(0, "Error getting firewall state.")}));
}

TEST_F(VELFirewallCheckTest, LeavesAnEarlierErrorUnlessItHasItsOwn) {
    for (const char* output : {"State = 1", "State = 0", ""}) {
        mac->tools.clear();
        print(output);
        prefer(1);
        error = VELError("earlier", 7, VELValue::object());
        EXPECT_EQ(run(), std::string_view(output) != "State = 0");
        ASSERT_TRUE(error) << output;
        EXPECT_EQ(error->domain(), "earlier") << output;
    }
    mac->preferenceStore.machine.clear();
    logger->take();
    EXPECT_FALSE(run());
    expectError(error, 0, "Error getting firewall state.");
    EXPECT_EQ(logger->take(), (Lines{fallback, errorLine(0, "Error getting firewall state.")}));
}

TEST_F(VELFirewallCheckTest, ReportsAPreferenceThatIsNoInteger) {
    for (const VELValue& stored : {VELValue("1"), VELValue(true), VELValue(1.5), VELValue()}) {
        mac->tools.clear();
        print("");
        prefer(stored);
        error.reset();
        EXPECT_FALSE(run()) << stored;
        expectError(error, 0, "Error getting firewall state.");
        EXPECT_EQ(logger->take(), (Lines{fallback, errorLine(0, "Error getting firewall state.")}))
            << stored;
    }
}

TEST_F(VELFirewallCheckTest, AnswersWithoutAnErrorOutParameter) {
    prefer(1);
    EXPECT_TRUE(VELFirewallCheck(mac).isMacFirewallEnabledError(nullptr));
    EXPECT_EQ(logger->take(), (Lines{fallback, stateLine("1")}));
    mac->preferenceStore.machine.clear();
    EXPECT_FALSE(VELFirewallCheck(mac).isMacFirewallEnabledError(nullptr));
    EXPECT_EQ(logger->take(), Lines{fallback});
}

/// A store that answers a value without having found it, as no store should.
class UnfoundPreferences final : public VELPreferences {
public:
    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view, std::string_view,
                                                    VELPreferencesScope) const override {
        return std::nullopt;
    }
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view, std::string_view) const override {
        return {answeredValue, false};
    }

    std::int64_t answeredValue = 0;
};

class PlatformWithUnfoundPreferences final : public VELPlatform {
public:
    [[nodiscard]] VELTimePoint ticks() const override { return mac.ticks(); }
    [[nodiscard]] std::optional<std::string> productVersion() const override { return {}; }
    [[nodiscard]] std::optional<std::string> serialNumber() const override { return {}; }
    [[nodiscard]] const VELPreferences& preferences() const override { return store; }
    [[nodiscard]] const VELFiles& files() const override { return mac.files(); }
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override {
        return mac.diskArbitration();
    }
    [[nodiscard]] const VELKeychain& keychain() const override { return mac.keychain(); }
    [[nodiscard]] const VELCertificates& certificates() const override {
        return mac.certificates();
    }
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override {
        return mac.openWorkingPlace();
    }
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view name, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override {
        return mac.task("/opt/tools" + std::string(name), std::move(arguments), std::move(place));
    }
    [[nodiscard]] const VELWorkQueue& workQueue() const override { return mac.workQueue(); }

    VELSimulatedPlatform mac;
    UnfoundPreferences store;
};

TEST_F(VELFirewallCheckTest, PassesSilentlyForAPositiveValueThatWasNotFound) {
    const auto platform = std::make_shared<PlatformWithUnfoundPreferences>();
    platform->mac.tools = {{.command = {std::string("/opt/tools") + tool, "--getglobalstate"}}};
    platform->store.answeredValue = 1;
    EXPECT_TRUE(VELFirewallCheck(platform).isMacFirewallEnabledError(&error));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{fallback});
    platform->store.answeredValue = -1;
    EXPECT_FALSE(VELFirewallCheck(platform).isMacFirewallEnabledError(&error));
    expectError(error, 0, "Error getting firewall state.");
}

TEST_F(VELFirewallCheckTest, LaunchesWhatStandsForTheTool) {
    const auto platform = std::make_shared<PlatformWithUnfoundPreferences>();
    EXPECT_FALSE(VELFirewallCheck(platform).isMacFirewallEnabledError(&error));
    EXPECT_EQ(platform->mac.taskRecord.launchedCommands(),
              (Commands{{std::string("/opt/tools") + tool, "--getglobalstate"}}));
    EXPECT_EQ(logger->take().front(), errorLine(2, std::string("Error launching task /opt/tools") +
                                                       tool + ": no such tool on this machine"));
}

TEST_F(VELFirewallCheckTest, LogsFromItsOwnFile) {
    print("State = 1");
    EXPECT_TRUE(run());
    const Lines lines = logger->take();
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines.front().file, "Classes/Mac/VELFirewallCheck.cpp");
    EXPECT_GT(lines.front().line, 0);
}

TEST_F(VELFirewallCheckTest, ShowsAPassInTheResult) {
    print("Firewall is enabled. (State = 1)\n");
    EXPECT_EQ(resultOf({{{"type", "localFirewall"}}}), VELValue::parse(R"(
        {"checks": [{"type": "localFirewall", "pass": true}], "pass": true})"));
}

TEST_F(VELFirewallCheckTest, ShowsALeftoverErrorInPlaceOfThePass) {
    prefer(1);
    EXPECT_EQ(resultOf({{{"type", "localFirewall"}}}),
              (VELValue{{"checks", {{{"type", "localFirewall"}, {"error", launchMessage}}}},
                        {"pass", false}}));
}

std::optional<std::int64_t> stateIn(std::string_view output) {
    return VELFirewallCheck::stateInOutput(output);
}

TEST(VELFirewallState, IsTheFirstNumberAfterItsLabel) {
    EXPECT_EQ(stateIn("State = 1"), 1);
    EXPECT_EQ(stateIn("a State = 12, State = 3"), 12);
    EXPECT_EQ(stateIn("State = , State = x, State = State = 3"), 3);
    EXPECT_EQ(stateIn("State = \nState = 4"), 4);
    EXPECT_EQ(stateIn("BadState = 5"), 5);
    EXPECT_EQ(stateIn("State = 0001"), 1);
    EXPECT_EQ(stateIn("State = 1.5"), 1);
    EXPECT_EQ(stateIn(std::string_view("a\0State = 6", 11)), 6);
}

TEST(VELFirewallState, IsAbsentWithoutSuchANumber) {
    for (const char* output :
         {"", "State", "State = ", "State =1", "State  = 1", "state = 1", "State = -1",
          "State = +1", "State =  1", "State = ²", "State = \xD9"}) {
        EXPECT_EQ(stateIn(output), std::nullopt) << output;
    }
}

TEST(VELFirewallState, SaturatesAt32Bits) {
    constexpr auto maximum = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(stateIn("State = 2147483646"), maximum - 1);
    EXPECT_EQ(stateIn("State = 2147483647"), maximum);
    EXPECT_EQ(stateIn("State = 2147483648"), maximum);
    EXPECT_EQ(stateIn("State = 4294967296"), maximum);
    EXPECT_EQ(stateIn("State = 18446744073709551616"), maximum);
    EXPECT_EQ(stateIn("State = " + std::string(1000, '9')), maximum);
}

TEST(VELFirewallState, CountsOnlyASCIIDigits) {
    EXPECT_EQ(stateIn("State = ٣"), 0);
    EXPECT_EQ(stateIn("State = ٣1"), 0);
    EXPECT_EQ(stateIn("State = 1٣"), 1);
    EXPECT_EQ(stateIn("State = \U0001D7D9, State = 1"), 0);
}

} // namespace
