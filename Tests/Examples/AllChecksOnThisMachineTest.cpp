// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPlatform.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/RegularExpression.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <map>

namespace {

/// Runs the example with all checks on this machine, whatever its state.
class AllChecksOnThisMachine : public testing::Test {
protected:
    ~AllChecksOnThisMachine() override { VELDTLogger::setLogger(nullptr); }

    static VELValue allChecks() {
        return VELValue::parse(
            contentOf(VEL_SOURCE_DIRECTORY "/Examples/Requests/all-checks.json"));
    }

    static VELValue answerTo(const VELValue& request,
                             const std::shared_ptr<VELHostLogger>& logger) {
        return resultOf(*VELPostureCheckRunner::macPostureCheckRunner(logger), request.dump());
    }

    const VELValue request = allChecks();
    const std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
};

/// The forms of the errors of a run of the tool.
std::string toolErrors(const char* tool) {
    const std::string path =
        escapedForExpression(VELPlatform::host()->task(tool, {}, nullptr)->launchPath());
    return "Error launching task " + path + ": .+|Task " + path +
           R"( exited with status code -?\d+\.)";
}

/// The texts that each check may have as an error when its parameters are right.
std::map<std::string, std::string> documentedErrors() {
    return {
        {"localFirewall", R"(Error getting firewall state\.|)" +
                              toolErrors("/usr/libexec/ApplicationFirewall/socketfilterfw")},
        {"fullDiskEncryption",
         R"(Checkpoint encryption status file was not in the expected format\.)"},
        {"certificatePresent", R"(Error loading certificates from keychain\.)"},
        {"anyProcessRunning",
         R"(Process "SampleAgent" was found on the system, but it had an incorrect code signing )"
         R"(certificate \(.*\)\.|)" +
             toolErrors("/bin/ps") + "|" + toolErrors("/usr/bin/codesign") + "|" +
             toolErrors("/usr/bin/openssl")},
        {"joinedToDomain", toolErrors("/usr/sbin/dsconfigad")},
        {"perDeviceCertificatePresent",
         "“.*” certificate is (using a broken key size|using a broken signature algorithm|not "
         "standards compliant|not trusted|not permitted for this usage|expired)"},
    };
}

/// Holds that the result entry is the request's with "pass", or with "error" in a documented form.
/// Answers whether it passed.
bool expectEntry(VELValue result, const VELValue& entry) {
    const auto type = entry.at("type").get<std::string>();
    SCOPED_TRACE(type);
    EXPECT_NE(result.contains("pass"), result.contains("error"));
    bool passed = false;
    if (result.contains("error")) {
        const auto errors = documentedErrors();
        const auto documented = errors.find(type);
        const auto text = result.at("error").get<std::string>();
        EXPECT_TRUE(documented != errors.end() && matchesWhole(text, documented->second)) << text;
        result.erase("error");
    } else {
        passed = result.at("pass").get<bool>();
        result.erase("pass");
    }
    EXPECT_EQ(result, entry);
    return passed;
}

TEST_F(AllChecksOnThisMachine, EveryEntryIsAnsweredInOrder) {
    const VELValue result = answerTo(request, logger);
    const VELValue& entries = request.at("mac");
    ASSERT_EQ(entries.size(), 7U);
    ASSERT_EQ(result.at("checks").size(), 7U);
    bool all = true;
    for (std::size_t index = 0; index < entries.size(); ++index) {
        all = expectEntry(result.at("checks").at(index), entries.at(index)) && all;
    }
    EXPECT_EQ(result.at("pass"), all);
    EXPECT_EQ(result.size(), 3U);
}

TEST_F(AllChecksOnThisMachine, TheTimesAddUpExactly) {
    const VELValue result = answerTo(request, logger);
    const VELValue& metrics = result.at("metrics");
    EXPECT_EQ(metrics.size(), 2U);
    const VELValue& details = metrics.at("details");
    ASSERT_EQ(details.size(), 7U);
    double total = 0;
    for (std::size_t index = 0; index < details.size(); ++index) {
        EXPECT_EQ(details.at(index).size(), 1U);
        const VELValue& check = details.at(index).at("check");
        EXPECT_EQ(check.size(), 2U);
        EXPECT_EQ(check.at("type"), request.at("mac").at(index).at("type"));
        EXPECT_GE(check.at("total_ms").get<double>(), 0.0);
        total += check.at("total_ms").get<double>();
    }
    EXPECT_GT(total, 0.0);
    EXPECT_EQ(metrics.at("total_ms").get<double>(), total);
}

TEST_F(AllChecksOnThisMachine, TheLogTellsTheDocumentsAndEveryCheck) {
    const VELValue result = answerTo(request, logger);
    const std::vector<LogLine> lines = logger->take();
    ASSERT_GE(lines.size(), 9U);
    EXPECT_EQ(lines.front().message, "Input JSON " + request.dump());
    EXPECT_EQ(lines.back().message, "Output JSON " + result.dump());
    std::vector<std::string> started;
    for (const LogLine& line : lines) {
        if (line.function == "-[VELPostureCheckRunner runCheck:checkParams:error:]") {
            EXPECT_EQ(line.level, 1);
            started.push_back(line.message);
        }
    }
    std::vector<std::string> expected;
    for (const VELValue& entry : request.at("mac")) {
        expected.push_back("Starting check with checkType: " + entry.at("type").get<std::string>() +
                           " and params: " + entry.dump());
    }
    EXPECT_EQ(started, expected);
}

/// The name with every letter in the other case, and with each single letter in it.
std::vector<std::string> inOtherCases(const std::string& name) {
    std::vector<std::string> names = {name};
    const auto other = [](char letter) {
        const int character = static_cast<unsigned char>(letter);
        return static_cast<char>(std::isupper(character) != 0 ? std::tolower(character)
                                                              : std::toupper(character));
    };
    std::ranges::transform(names.front(), names.front().begin(), other);
    for (std::size_t index = 0; index < name.size(); ++index) {
        std::string changed = name;
        changed[index] = other(changed[index]);
        if (changed != name) {
            names.push_back(changed);
        }
    }
    return names;
}

TEST_F(AllChecksOnThisMachine, ATypeInAnotherLetterCaseIsUnknown) {
    VELValue others = VELValue::array();
    VELValue expected = VELValue::array();
    for (const VELValue& entry : request.at("mac")) {
        for (const std::string& type : inOtherCases(entry.at("type").get<std::string>())) {
            VELValue other = entry;
            other["type"] = type;
            others.push_back(other);
            other["error"] = "Unknown posture check type: " + type + ".";
            expected.push_back(other);
        }
    }
    ASSERT_GT(others.size(), 100U);
    const VELValue result = answerTo({{"mac", others}}, logger);
    EXPECT_EQ(result.at("checks"), expected);
    EXPECT_EQ(result.at("pass"), false);
}

TEST_F(AllChecksOnThisMachine, ANullLoggerSwitchesLoggingOff) {
    const auto logged = VELPostureCheckRunner::macPostureCheckRunner(logger);
    const VELValue unknown = VELValue::parse(R"({"mac": [{"type": "none"}]})");
    static_cast<void>(resultOf(*logged, unknown.dump()));
    EXPECT_EQ(logger->take().size(), 4U);

    const VELValue result = answerTo(request, nullptr);
    EXPECT_EQ(result.at("checks").size(), 7U);
    // The runner made before is quiet too.
    static_cast<void>(resultOf(*logged, unknown.dump()));
    EXPECT_EQ(logger->take(), std::vector<LogLine>());
}

} // namespace
