// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELOSVersionCheck.h"

#include "Tests/Support/EngineTest.h"
#include "Tests/Support/LogExpectations.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

constexpr const char* checkFile = "Classes/Shared/VELOSVersionCheck.cpp";
constexpr const char* osVersionAtLeast = "+[VELOSVersionCheck osVersionAtLeast:error:]";

ExpectedLogLine required(const std::string& version) {
    return {1, "Version we are checking for: " + version, osVersionAtLeast, checkFile,
            "Version we are checking for: %@"};
}

ExpectedLogLine system(const std::string& version) {
    return {1, "System Version: " + version, osVersionAtLeast, checkFile, "System Version: %@"};
}

class VELOSVersionCheckTest : public EngineTest {
protected:
    VELOSVersionCheckTest() { VELDTLogger::setLogger(logger); }

    bool run(const VELDictionary& parameters) {
        return VELOSVersionCheck(platform).runCheckWithParameters(parameters, &error);
    }

    std::optional<VELError> error;
};

TEST_F(VELOSVersionCheckTest, Requires) {
    EXPECT_EQ(VELOSVersionCheck(platform).requiredParameters(),
              std::optional(std::vector<std::string>{"version"}));
}

TEST_F(VELOSVersionCheckTest, Table) {
    struct Row {
        const char* required;
        const char* system;
        bool passes;
    };
    const Row rows[] = {
        {"10.9", "10.10", true},
        {"11.2.3", "11.2.3", true},
        {"10.15.0", "10.15", false},
        {"12", "11.7.10", false},
        {"10.15", "10.15.0", true},
        {"", "14.5", true},
        {"14.05", "14.5", true},
        {"14.5b", "14.5", false},
        {"14.5", "", false},
        {"", "", true},
        {"13.7.8", "26.0", true},
        {"26.0.1", "26.0", false},
        {"18446744073709551617", "2", false},
    };
    for (const Row& row : rows) {
        platform->productVersionRecord = row.system;
        EXPECT_EQ(run({{"type", "minimumOSVersion"}, {"version", row.required}}), row.passes)
            << row.required << " on " << row.system;
        EXPECT_FALSE(error);
        expectLogged(logger->take(), {required(row.required), system(row.system)});
    }
    EXPECT_EQ(platform->productVersionCalls, std::size(rows));
}

TEST_F(VELOSVersionCheckTest, AnUnknownSystemVersionPassesNothing) {
    for (const char* version : {"10.9", "", "0"}) {
        EXPECT_FALSE(run({{"version", version}})) << version;
        EXPECT_FALSE(error);
        expectLogged(logger->take(), {required(version), system("(null)")});
    }
}

TEST_F(VELOSVersionCheckTest, AVersionOfAnotherTypeIsAnError) {
    platform->productVersionRecord = "14.5";
    for (const char* parameters :
         {R"({"version": 11})", R"({"version": 11.5})", R"({"version": ["11"]})",
          R"({"version": {"version": "11"}})", R"({"version": null})", R"({"version": true})",
          R"({"Version": "11"})", "{}"}) {
        error.reset();
        EXPECT_FALSE(run(json(parameters))) << parameters;
        ASSERT_TRUE(error) << parameters;
        EXPECT_EQ(error->code(), 7);
        EXPECT_EQ(error->message(), "Invalid version type in OS version check.");
        expectLogged(logger->take(),
                     {logged::checkError(7, "Invalid version type in OS version check.")});
    }
    EXPECT_EQ(platform->productVersionCalls, 0U);
}

TEST_F(VELOSVersionCheckTest, WithoutAnOutParameter) {
    platform->productVersionRecord = "14.5";
    const VELOSVersionCheck check(platform);
    EXPECT_FALSE(check.runCheckWithParameters({{"version", 11}}, nullptr));
    expectLogged(logger->take(), {});
    EXPECT_TRUE(check.runCheckWithParameters({{"version", "11"}}, nullptr));
    expectLogged(logger->take(), {required("11"), system("14.5")});
}

TEST_F(VELOSVersionCheckTest, TheClassAnswersWithoutACheck) {
    platform->productVersionRecord = "11.2.3";
    const VELError before("d", 1, VELValue::object());
    error = before;
    EXPECT_TRUE(VELOSVersionCheck::osVersionAtLeast("11.2.3", &error, *platform));
    EXPECT_FALSE(VELOSVersionCheck::osVersionAtLeast("11.2.3.0", &error, *platform));
    EXPECT_FALSE(VELOSVersionCheck::osVersionAtLeast("12", nullptr, *platform));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description(), before.description());
    expectLogged(logger->take(), {required("11.2.3"), system("11.2.3"), required("11.2.3.0"),
                                  system("11.2.3"), required("12"), system("11.2.3")});
}

TEST_F(VELOSVersionCheckTest, NothingIsKeptBetweenRuns) {
    platform->productVersionRecord = "11";
    const VELOSVersionCheck check(platform);
    EXPECT_FALSE(check.runCheckWithParameters({{"version", "12"}}, &error));
    platform->productVersionRecord = "12";
    EXPECT_TRUE(check.runCheckWithParameters({{"version", "12"}}, &error));
}

TEST_F(VELOSVersionCheckTest, ThroughARunner) {
    platform->productVersionRecord = "11.7.10";
    EXPECT_EQ(resultOf(*macRunner(), R"({"mac": [
                  {"type": "minimumOSVersion", "version": "11.7.9"},
                  {"type": "minimumOSVersion", "version": "12"},
                  {"type": "minimumOSVersion", "version": 11},
                  {"type": "minimumOSVersion"}]})")["checks"],
              json(R"([
                  {"type": "minimumOSVersion", "version": "11.7.9", "pass": true},
                  {"type": "minimumOSVersion", "version": "12", "pass": false},
                  {"type": "minimumOSVersion", "version": 11,
                   "error": "Invalid version type in OS version check."},
                  {"type": "minimumOSVersion", "error":
                   "Required parameter \"version\" missing from check type \"minimumOSVersion\"."}
              ])"));
}

} // namespace
