// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELMachineDescription.h"

#include "Base/VELJSON.h"

#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

using vel::machineFromDescription;

constexpr VELPreferencesScope anyUser = VELPreferencesScope::anyUser;
constexpr VELPreferencesScope currentUser = VELPreferencesScope::currentUser;

using Found = std::optional<VELValue>;

std::shared_ptr<VELSimulatedPlatform> machineFrom(std::string_view text) {
    std::string error = "untouched";
    auto machine = machineFromDescription(text, &error);
    EXPECT_NE(machine, nullptr) << error;
    EXPECT_EQ(error, "untouched");
    return machine;
}

std::string errorOf(std::string_view text) {
    std::string error;
    EXPECT_EQ(machineFromDescription(text, &error), nullptr) << text;
    EXPECT_EQ(machineFromDescription(text, nullptr), nullptr) << text;
    return error;
}

TEST(MachineDescription, AnEmptyOneIsAMachineWithoutAnything) {
    const auto machine = machineFrom("{}");
    EXPECT_EQ(machine->productVersion(), std::nullopt);
    EXPECT_EQ(machine->serialNumber(), std::nullopt);
    EXPECT_TRUE(machine->preferenceStore.machine.empty());
    EXPECT_TRUE(machine->preferenceStore.user.empty());
    EXPECT_EQ(machine->ticks(), 0U);
}

TEST(MachineDescription, EveryKeyIsWhatTheMachineAnswers) {
    const auto machine = machineFrom(R"({
        "name": "a laptop", "productVersion": "14.5", "serialNumber": "C02EXAMPLE",
        "preferences": {
            "machine": {"com.vel.deviceId": {"deviceId": "machine-7", "list": [1, null]}},
            "user": {"com.vel.deviceId": {"deviceId": "user-7"}, "com.apple.alf": {}}}})");
    EXPECT_EQ(machine->productVersion(), "14.5");
    EXPECT_EQ(machine->serialNumber(), "C02EXAMPLE");
    const VELPreferences& preferences = machine->preferences();
    EXPECT_EQ(preferences.copyValue("deviceId", "com.vel.deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(preferences.copyValue("list", "com.vel.deviceId", anyUser),
              Found(VELValue::parse("[1, null]")));
    EXPECT_EQ(preferences.copyValue("deviceId", "com.vel.deviceId", currentUser), Found("user-7"));
    EXPECT_EQ(machine->preferenceStore.machine.size(), 1U);
    EXPECT_EQ(machine->preferenceStore.user.size(), 2U);
}

TEST(MachineDescription, AnEmptyTextIsPresent) {
    const auto machine = machineFrom(R"({"name": "", "productVersion": "", "serialNumber": ""})");
    EXPECT_EQ(machine->productVersion(), "");
    EXPECT_EQ(machine->serialNumber(), "");
}

TEST(MachineDescription, OfEqualKeysTheLastOneCounts) {
    const auto machine = machineFrom(R"({"productVersion": 14, "productVersion": "15.0"})");
    EXPECT_EQ(machine->productVersion(), "15.0");
}

TEST(MachineDescription, AnIntegerIsLookedUpForTheUserFirst) {
    const auto machine = machineFrom(R"({"preferences": {
        "machine": {"a": {"both": 1, "machine": 2, "hidden": 3}},
        "user": {"a": {"both": 10, "user": 20, "hidden": "text"}, "b": {}}}})");
    const auto integer = [&](std::string_view key) {
        const auto answer = machine->preferences().appIntegerValue(key, "a");
        return answer.found ? std::optional(answer.value) : std::nullopt;
    };
    EXPECT_EQ(integer("both"), 10);
    EXPECT_EQ(integer("user"), 20);
    EXPECT_EQ(integer("machine"), 2);
    // What the user says hides the machine's, whatever its type.
    EXPECT_EQ(integer("hidden"), std::nullopt);
    EXPECT_EQ(integer("other"), std::nullopt);
}

TEST(MachineDescription, OnlyAnIntegerHasTheIntegerFormat) {
    const auto machine = machineFrom(R"({"preferences": {"machine": {"a": {
        "integer": 1, "negative": -5, "largest": 9223372036854775807,
        "smallest": -9223372036854775808, "above": 9223372036854775808, "real": 1.0,
        "exponent": 1e2, "negativeZero": -0, "text": "1", "yes": true, "list": [1],
        "dictionary": {}}}}})");
    const auto integer = [&](std::string_view key) {
        const auto answer = machine->preferences().appIntegerValue(key, "a");
        EXPECT_TRUE(answer.found || answer.value == 0) << key;
        return answer.found ? std::optional(answer.value) : std::nullopt;
    };
    EXPECT_EQ(integer("integer"), 1);
    EXPECT_EQ(integer("negative"), -5);
    EXPECT_EQ(integer("largest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("smallest"), std::numeric_limits<std::int64_t>::min());
    for (const char* key :
         {"above", "real", "exponent", "negativeZero", "text", "yes", "list", "dictionary"}) {
        EXPECT_EQ(integer(key), std::nullopt) << key;
    }
}

struct WrongDescription {
    const char* text;
    const char* error;
};

TEST(MachineDescription, AnUnknownKeyIsNamed) {
    const WrongDescription wrong[] = {
        {R"({"serial": "x"})", R"(unknown key "serial")"},
        {R"({"productVersion": "14.5", "ProductVersion": "14.5"})",
         R"(unknown key "ProductVersion")"},
        {R"({"": 1})", R"(unknown key "")"},
        {R"({"na\"me": 1})", R"(unknown key "na\"me")"},
        {R"({"a": 1, "b": 2})", R"(unknown key "a")"},
        {R"({"preferences": {"machine": {}, "root": {}}})", R"(unknown key "root" in preferences)"},
        {R"({"preferences": {"Machine": {}}})", R"(unknown key "Machine" in preferences)"},
    };
    for (const auto& [text, error] : wrong) {
        EXPECT_EQ(errorOf(text), error) << text;
    }
}

TEST(MachineDescription, AWrongTypeIsNamedWithItsPlace) {
    const char* const values[] = {"null", "true", "1", "1.5", "\"text\"", "[]", "[{}]", "{}"};
    const auto expectOnly = [&](const std::string& before, const std::string& after,
                                std::string_view allowed, const std::string& error) {
        for (const std::string value : values) {
            if (value != allowed) {
                EXPECT_EQ(errorOf(before + value + after), error) << before << value << after;
            } else {
                machineFrom(before + value + after);
            }
        }
    };
    expectOnly("", "", "{}", "the description is not an object");
    expectOnly(R"({"name": )", "}", "\"text\"", "name is not a string");
    expectOnly(R"({"productVersion": )", "}", "\"text\"", "productVersion is not a string");
    expectOnly(R"({"serialNumber": )", "}", "\"text\"", "serialNumber is not a string");
    expectOnly(R"({"preferences": )", "}", "{}", "preferences is not an object");
    expectOnly(R"({"preferences": {"machine": )", "}}", "{}",
               "preferences.machine is not an object");
    expectOnly(R"({"preferences": {"user": )", "}}", "{}", "preferences.user is not an object");
    expectOnly(R"({"preferences": {"machine": {"com.vel.deviceId": )", "}}}", "{}",
               R"(preferences.machine["com.vel.deviceId"] is not an object)");
    expectOnly(R"({"preferences": {"user": {"a \"b\"]": )", "}}}", "{}",
               R"(preferences.user["a \"b\"]"] is not an object)");
}

TEST(MachineDescription, APreferenceIsAnyValueButNull) {
    for (const char* value : {"true", "1", "1.5", "\"text\"", "[]", "{}"}) {
        const auto machine =
            machineFrom(R"({"preferences": {"user": {"a": {"b": )" + std::string(value) + "}}}}");
        EXPECT_EQ(machine->preferences().copyValue("b", "a", currentUser),
                  Found(VELValue::parse(value)));
    }
    EXPECT_EQ(errorOf(R"({"preferences": {"user": {"a": {"b": null}}}})"),
              R"(preferences.user["a"]["b"] is null)");
}

TEST(MachineDescription, TextThatIsNoJSONHasTheReadersError) {
    for (const std::string_view text :
         {std::string_view(), std::string_view("{"), std::string_view("{} {}"),
          std::string_view("{\"name\": \"\xff\"}"), std::string_view("\0", 1)}) {
        std::optional<VELError> readingError;
        ASSERT_EQ(vel::readJSON(text, &readingError), std::nullopt);
        EXPECT_EQ(errorOf(text), readingError->message());
    }
    EXPECT_EQ(errorOf("[1,"),
              "parse error at line 1, column 4: syntax error while parsing value - unexpected end "
              "of input; expected '[', '{', or a literal");
}

} // namespace
