// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

namespace {

using Result = ChildProgram::Result;

Result runTest(std::vector<std::string> files) {
    files.insert(files.begin(), {VEL_POSTURE_PROGRAM, "test"});
    return ChildProgram{.arguments = std::move(files)}.run();
}

constexpr const char* request = R"({"mac": [{"type": "minimumOSVersion", "version": "14"},
    {"type": "localFirewall"}, {"type": "minimumOSVersion", "version": "12"}]})";

/// A test of that request on one machine, which is version 13 and has no firewall.
std::string testOf(const std::string& expectation) {
    return R"({"request": )" + std::string(request) +
           R"(, "machines": [{"machine": {"name": "old", "productVersion": "13"}, )" + expectation +
           "}]}";
}

class PolicyTestFile : public testing::Test {
protected:
    Result run(const std::string& expectation) const {
        folder.write("test.json", testOf(expectation));
        return runTest({path});
    }

    /// What is wrong with the file.
    std::string refusal(const std::string& content) const {
        folder.write("test.json", content);
        const Result result = runTest({path});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, "0 machines tried, 1 failure\n");
        const std::string start = "vel-posture: \"" + path + "\": ";
        EXPECT_TRUE(result.errors.starts_with(start)) << result.errors;
        return result.errors.substr(std::min(start.size(), result.errors.size()));
    }

    const TemporaryFolder folder;
    const std::string path = folder.place("test.json");
};

TEST_F(PolicyTestFile, IsAsExpected) {
    const Result passed{0, "1 machine tried, all as expected\n", ""};
    EXPECT_EQ(run(R"("pass": false)"), passed);
    EXPECT_EQ(run(R"("pass": false,
        "checks": {"minimumOSVersion": ["fail", "pass"], "localFirewall": "error"})"),
              passed);
    EXPECT_EQ(run(R"("pass": false, "checks": {"minimumOSVersion": ["fail", "pass"],
        "localFirewall": {"error": "Error getting firewall state."}})"),
              passed);
}

TEST_F(PolicyTestFile, NamesWhatDiffers) {
    const std::string start = path + ": old: ";
    EXPECT_EQ(run(R"("pass": true)"),
              (Result{1,
                      start + "verdict: expected that it passes, but it does not pass\n"
                              "1 machine tried, 1 differs\n",
                      ""}));
    EXPECT_EQ(run(R"("pass": false, "checks": {"localFirewall": {"error": "Another text."}})"),
              (Result{1,
                      start +
                          "mac[0] minimumOSVersion: expected pass, found fail: found 13, wanted at "
                          "least 14\n" +
                          start +
                          "mac[1] localFirewall: expected error \"Another text.\", found error "
                          "\"Error getting firewall state.\": "
                          "/usr/libexec/ApplicationFirewall/socketfilterfw cannot be run: no such "
                          "tool on this machine\n"
                          "1 machine tried, 1 differs\n",
                      ""}));
    EXPECT_EQ(
        run(R"("pass": false, "checks": {"localFirewall": "error", "minimumOSVersion": ["pass", "fail"]})"),
        (Result{1,
                start +
                    "mac[0] minimumOSVersion: expected pass, found fail: found 13, wanted at "
                    "least 14\n" +
                    start +
                    "mac[2] minimumOSVersion: expected fail, found pass: found 13, wanted at "
                    "least 12\n"
                    "1 machine tried, 1 differs\n",
                ""}));
}

TEST_F(PolicyTestFile, FindsFilesBesideItself) {
    folder.write("requests/a.json", R"({"mac": [{"type": "minimumOSVersion", "version": "14"}]})");
    folder.write("macs/new.json", R"({"productVersion": "14.1"})");
    folder.write("test.json", R"({"request": "requests/a.json",
        "machines": [{"machine": "macs/new.json", "pass": true},
                     {"machine": "macs/none.json", "pass": true},
                     {"machine": {"productVersion": "13"}, "pass": true}]})");
    const Result result = runTest({path});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output,
              path + ": machines[2]: verdict: expected that it passes, but it does not pass\n"
                     "2 machines tried, 1 differs, 1 failure\n");
    EXPECT_EQ(result.errors, "vel-posture: cannot read \"" + folder.path() +
                                 "/macs/none.json\": No such file or directory\n");
}

TEST_F(PolicyTestFile, SaysWhatIsWrongWithIt) {
    EXPECT_EQ(refusal("[]"), "the document is not an object\n");
    EXPECT_EQ(refusal(R"({"machines": []})"), "the document has no \"request\"\n");
    EXPECT_EQ(refusal(R"({"request": 1, "machines": []})"),
              "request is neither a path nor an object\n");
    EXPECT_EQ(refusal(R"({"request": {"mac": []}, "machines": []})"),
              "machines is not a list with an element\n");
    EXPECT_EQ(refusal(R"({"request": {"mac": []}, "machine": []})"),
              "unknown key \"machine\" in the document\n");
    EXPECT_EQ(refusal(testOf(R"("checks": {})")), "machines[0] has no \"pass\"\n");
    EXPECT_EQ(refusal(testOf(R"("pass": 1)")), "machines[0].pass is not a boolean\n");
    EXPECT_EQ(refusal(testOf(R"("pass": false, "check": {})")),
              "unknown key \"check\" in machines[0]\n");
    EXPECT_EQ(refusal(testOf(R"("pass": false, "checks": {"fullDiskEncryption": "fail"})")),
              "machines[0].checks.fullDiskEncryption: the request has no such check\n");
    EXPECT_EQ(refusal(testOf(R"("pass": false, "checks": {"minimumOSVersion": "fail"})")),
              "machines[0].checks.minimumOSVersion has to be a list of 2: the request has as many "
              "checks of this type\n");
    EXPECT_EQ(refusal(testOf(R"("pass": false, "checks": {"localFirewall": "no"})")),
              "machines[0].checks.localFirewall is neither \"pass\", \"fail\", \"error\" nor "
              "{\"error\": TEXT}\n");
    EXPECT_EQ(refusal(R"({"request": {"mac": [{"type": "x"}]},
        "machines": [{"machine": {"x": 1}, "pass": true}]})"),
              "machines[0]: unknown key \"x\"\n");
}

std::vector<std::string> examplesIn(const char* folder) {
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(VEL_SOURCE_DIRECTORY "/Examples") / folder)) {
        files.push_back(entry.path());
    }
    std::ranges::sort(files);
    return files;
}

TEST(PolicyTests, HoldForTheExamplesOnEveryMac) {
    const std::vector<std::string> tests = examplesIn("Tests");
    const std::size_t count = tests.size() * examplesIn("Machines").size();
    EXPECT_EQ(runTest(tests),
              (Result{0, std::to_string(count) + " machines tried, all as expected\n", ""}));
}

} // namespace
