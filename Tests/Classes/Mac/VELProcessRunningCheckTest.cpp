// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Tests/Support/ToolCheckTest.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string_view>

namespace {

constexpr const char* listingFunction = "-[VELProcessRunningCheck isAnyValidProcessRunning:error:]";

const std::string listing = "  PID TTY           TIME CMD\n"
                            "    1 ??         0:09.12 launchd\n"
                            "  312 ??         0:01.00 Finder\n"
                            "  400 ??         0:01.00 agent\n"
                            "  401 ??         0:01.00 Agent\n"
                            "  402 ttys000    0:00.10 shell\n";

const LogLine amountLine = {1, "Amount of processes running: 7", listingFunction};

LogLine nameLine(const std::string& name) {
    return {1, "Name of process being checked: " + name, listingFunction};
}

std::string mismatch(const std::string& name, const std::string& subjectOU) {
    return "Process \"" + name +
           "\" was found on the system, but it had an incorrect code signing certificate (" +
           subjectOU + ").";
}

std::string subjectLine(const std::string& subjectOU) {
    return "subject= /CN=Developer ID Application: Sample/OU=" + subjectOU + "/O=Sample/C=DE\n";
}

class VELProcessRunningCheckTest : public ToolCheckTest {
protected:
    static Command extraction(const std::string& processID) {
        return {"/usr/bin/codesign", "--display", "--extract-certificates", processID};
    }

    void list(std::string text = listing) { answer(processStatus, std::move(text)); }
    /// The certificates of the process are extracted, and their leaf has this OU.
    void sign(const std::string& processID, const std::string& subjectOU) {
        answer(extraction(processID), "");
        answer(subject, subjectLine(subjectOU));
    }
    bool run(const VELValue& processes) {
        return check.runCheckWithParameters(
            {{"type", "anyProcessRunning"}, {"processes", processes}}, &error);
    }

    const Command processStatus = {"/bin/ps", "-axc"};
    const Command subject = {"/usr/bin/openssl", "x509",     "-inform", "DER", "-in",
                             "codesign0",        "-subject", "-noout"};
    VELProcessRunningCheck check{mac};
};

TEST_F(VELProcessRunningCheckTest, RequiresProcesses) {
    EXPECT_EQ(check.requiredParameters(), std::vector<std::string>{"processes"});
}

TEST_F(VELProcessRunningCheckTest, FailsForNoEntryAtAll) {
    list();
    EXPECT_FALSE(run(VELValue::array()));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{amountLine});
    EXPECT_EQ(launched(), Commands{processStatus});
}

TEST_F(VELProcessRunningCheckTest, PassesForANameWithoutReadingASignature) {
    list();
    EXPECT_TRUE(run({{{"name", "missing"}}, {{"name", "finder"}}, {{"name", "unreached"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("missing"), nameLine("finder")}));
    EXPECT_EQ(launched(), Commands{processStatus});
}

TEST_F(VELProcessRunningCheckTest, FailsWithoutAnErrorForANameThatDoesNotRun) {
    list();
    EXPECT_FALSE(run(
        {{{"name", "missing"}}, {{"name", "missing"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("missing"), nameLine("missing")}));
    EXPECT_EQ(launched(), Commands{processStatus});
}

TEST_F(VELProcessRunningCheckTest, SelectsNoProcessByTheEmptyName) {
    list();
    EXPECT_FALSE(run({{{"name", ""}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("")}));
}

TEST_F(VELProcessRunningCheckTest, ReportsAnEntryWithoutANameBeforeLaterEntries) {
    const std::string message = "Process name missing from process running check.";
    list();
    EXPECT_FALSE(run({{{"signingCertificateSubjectOU", "TEAM"}}, {{"name", "Finder"}}}));
    expectError(error, 6, message);
    EXPECT_EQ(logger->take(), (Lines{amountLine, errorLine(6, message)}));
    EXPECT_EQ(launched(), Commands{processStatus});
}

TEST_F(VELProcessRunningCheckTest, ReplacesAMismatchByAnEntryWithoutAName) {
    const std::string message = "Process name missing from process running check.";
    list();
    sign("312", "OTHER");
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}},
                      VELValue::object(),
                      {{"name", "shell"}}}));
    expectError(error, 6, message);
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("Finder"), errorLine(8, mismatch("Finder", "OTHER")),
                     errorLine(6, message)}));
}

TEST_F(VELProcessRunningCheckTest, PassesForAnEarlierEntryThanTheOneWithoutAName) {
    list();
    EXPECT_TRUE(run({{{"name", "Finder"}}, VELValue::object()}));
    EXPECT_FALSE(error);
}

TEST_F(VELProcessRunningCheckTest, PassesForTheRightSignature) {
    list();
    sign("312", "TEAM");
    EXPECT_TRUE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("Finder")}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312"), subject}));
}

TEST_F(VELProcessRunningCheckTest, ComparesTheSignatureExactly) {
    list();
    sign("312", "Team");
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 8, mismatch("Finder", "Team"));
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("Finder"), errorLine(8, mismatch("Finder", "Team"))}));
}

TEST_F(VELProcessRunningCheckTest, ExaminesOnlyTheFirstCandidateToTheEnd) {
    list();
    answer(extraction("400"), "");
    answer(extraction("401"), "");
    answer(subject, subjectLine("OTHER"));
    answer(subject, subjectLine("TEAM"));
    EXPECT_FALSE(run({{{"name", "agent"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 8, mismatch("agent", "OTHER"));
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("agent"), errorLine(8, mismatch("agent", "OTHER"))}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("400"), subject, extraction("401")}));
}

TEST_F(VELProcessRunningCheckTest, PassesForALaterEntryWithoutAnOU) {
    list();
    sign("312", "OTHER");
    EXPECT_TRUE(
        run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}, {{"name", "shell"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("Finder"), errorLine(8, mismatch("Finder", "OTHER")),
                     nameLine("shell")}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312"), subject}));
}

TEST_F(VELProcessRunningCheckTest, FailsForALaterEntryWithTheRightOU) {
    list();
    answer(extraction("312"), "");
    answer(extraction("402"), "");
    answer(subject, subjectLine("OTHER"));
    answer(subject, subjectLine("TEAM"));
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}},
                      {{"name", "shell"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 8, mismatch("Finder", "OTHER"));
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("Finder"), errorLine(8, mismatch("Finder", "OTHER")),
                     nameLine("shell")}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312"), subject, extraction("402")}));
}

TEST_F(VELProcessRunningCheckTest, KeepsTheErrorOfAnUnsignedProcess) {
    const std::string message = "Task /usr/bin/codesign exited with status code 1.";
    list();
    fail(extraction("312"), 1);
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 3, message);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("Finder"), errorLine(3, message)}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312")}));
}

TEST_F(VELProcessRunningCheckTest, ReplacesAnErrorByThatOfALaterTool) {
    const std::string message = "Task /usr/bin/codesign exited with status code 1.";
    list();
    sign("400", "OTHER");
    fail(extraction("401"), 1);
    EXPECT_FALSE(run({{{"name", "agent"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 3, message);
    EXPECT_EQ(logger->take(),
              (Lines{amountLine, nameLine("agent"), errorLine(8, mismatch("agent", "OTHER")),
                     errorLine(3, message)}));
}

TEST_F(VELProcessRunningCheckTest, KeepsTheErrorOfTheCertificateTool) {
    const std::string message =
        "Error launching task /usr/bin/openssl: no such tool on this machine";
    list();
    answer(extraction("312"), "");
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 2, message);
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("Finder"), errorLine(2, message)}));
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312"), subject}));
}

TEST_F(VELProcessRunningCheckTest, HasAPlaceOfItsOwnForEachQueryOfASignature) {
    list();
    sign("400", "OTHER");
    sign("401", "TEAM");
    EXPECT_TRUE(VELProcessRunningCheck(mac).isAnyValidProcessRunning(
        VELArray::array({{{"name", "agent"}, {"signingCertificateSubjectOU", "TEAM"}}}), nullptr));
    ASSERT_EQ(launched(),
              (Commands{processStatus, extraction("400"), subject, extraction("401"), subject}));
    const auto places = mac->taskRecord.workingPlaces();
    EXPECT_EQ(places[0], nullptr);
    EXPECT_NE(places[1], nullptr);
    EXPECT_EQ(places[1], places[2]);
    EXPECT_NE(places[3], nullptr);
    EXPECT_EQ(places[3], places[4]);
    EXPECT_NE(places[1], places[3]);
}

TEST_F(VELProcessRunningCheckTest, KeepsTheErrorOfAPlaceThatCannotBeMade) {
    const std::string message =
        "Error launching task /usr/bin/codesign: no working place on this machine";
    list();
    sign("312", "TEAM");
    mac->workingPlacesAvailable = false;
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 2, message);
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312")}));
}

TEST_F(VELProcessRunningCheckTest, PassesForAnEntryWithoutAnOUAfterAFailedTool) {
    list();
    EXPECT_TRUE(
        run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}, {{"name", "shell"}}}));
    EXPECT_FALSE(error);
}

TEST_F(VELProcessRunningCheckTest, FindsNoOUInAnotherSubject) {
    for (const std::string& line :
         {std::string("subject=CN = Sample, OU = TEAM, O = Sample\n"), std::string(),
          std::string("subject= /OU=TEAM\n"), std::string("subject= /OU=TEAM/O=\xFF\n")}) {
        mac->tools.clear();
        list();
        answer(extraction("312"), "");
        answer(subject, line);
        error.reset();
        EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}})) << line;
        expectError(error, 8, mismatch("Finder", "(null)"));
    }
}

TEST_F(VELProcessRunningCheckTest, TakesAnEmptyOUForAnOU) {
    list();
    sign("312", "");
    EXPECT_TRUE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", ""}}}));
    EXPECT_FALSE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 8, mismatch("Finder", ""));
}

TEST_F(VELProcessRunningCheckTest, DoesNotUseWhatTheExtractionPrints) {
    list();
    answer(extraction("312"), "\xFF");
    answer(subject, subjectLine("TEAM"));
    EXPECT_TRUE(run({{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    EXPECT_FALSE(error);
}

TEST_F(VELProcessRunningCheckTest, AsksForTheCertificateOfProcessZeroWhenTheHeadingMatches) {
    list();
    fail(extraction("0"), 1);
    EXPECT_TRUE(run({{{"name", "cmd"}}}));
    EXPECT_FALSE(run({{{"name", "cmd"}, {"signingCertificateSubjectOU", "TEAM"}}}));
    expectError(error, 3, "Task /usr/bin/codesign exited with status code 1.");
    EXPECT_EQ(launched().back(), extraction("0"));
}

TEST_F(VELProcessRunningCheckTest, FailsWhenTheListingFails) {
    const std::string launch = "Error launching task /bin/ps: no such tool on this machine";
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    expectError(error, 2, launch);
    EXPECT_EQ(logger->take(), Lines{errorLine(2, launch)});

    const std::string exited = "Task /bin/ps exited with status code 1.";
    fail(processStatus, 1);
    error.reset();
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    expectError(error, 3, exited);
    EXPECT_EQ(logger->take(), Lines{errorLine(3, exited)});
}

TEST_F(VELProcessRunningCheckTest, EndsEachToolAfterTenSeconds) {
    list();
    mac->tools.back().seconds = 11;
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    expectError(error, 3, "Task /bin/ps exited with status code 15.");
    EXPECT_EQ(mac->ticks(), VELTimePoint(std::chrono::seconds(10)));
}

TEST_F(VELProcessRunningCheckTest, FailsAfterTheListingWhenAnErrorStandsAlready) {
    list();
    error = VELError::withLocalizedDescription("earlier", 1, "earlier");
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "earlier");
    EXPECT_EQ(logger->take(), Lines{});
    EXPECT_EQ(launched(), Commands{processStatus});
}

TEST_F(VELProcessRunningCheckTest, CountsNoProcessInAListingThatIsNotText) {
    list(listing + "\xFF");
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              (Lines{{1, "Amount of processes running: 0", listingFunction}, nameLine("Finder")}));
}

TEST_F(VELProcessRunningCheckTest, CountsOneLineInAnEmptyListing) {
    list("");
    EXPECT_FALSE(run({{{"name", "Finder"}}}));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              (Lines{{1, "Amount of processes running: 1", listingFunction}, nameLine("Finder")}));
}

TEST_F(VELProcessRunningCheckTest, RaisesWhenItComesToAParameterOfTheWrongType) {
    list();
    for (const VELValue& processes : {VELValue("Finder"), VELValue(), VELValue::object()}) {
        expectRaised([&] { run(processes); }, "processes is not an array");
        EXPECT_EQ(logger->take(), Lines{amountLine});
    }
    const VELValue missing = {{"name", "missing"}};
    expectRaised([&] { run({missing, "Finder"}); }, "processes[1] is not an object");
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("missing")}));
    expectRaised([&] { run({missing, {{"name", 5}}}); }, "processes[1].name is not a string");
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("missing"), nameLine("5")}));
    expectRaised([&] { run({{{"name", nullptr}}}); }, "processes[0].name is not a string");
    EXPECT_EQ(logger->take(), (Lines{amountLine, nameLine("null")}));
    EXPECT_TRUE(run({{{"name", "Finder"}}, 5}));
    EXPECT_FALSE(error);
}

TEST_F(VELProcessRunningCheckTest, RaisesWhereAnOUOfTheWrongTypeIsCompared) {
    list();
    sign("312", "TEAM");
    const VELValue wrong = {{"name", "Finder"}, {"signingCertificateSubjectOU", nullptr}};
    expectRaised([&] { run(VELValue::array({wrong})); },
                 "processes[0].signingCertificateSubjectOU is not a string");
    EXPECT_FALSE(error);
    EXPECT_EQ(launched(), (Commands{processStatus, extraction("312"), subject}));

    // No process, or no OU of its certificate, means no comparison.
    EXPECT_FALSE(run({{{"name", "missing"}, {"signingCertificateSubjectOU", 5}}}));
    EXPECT_FALSE(error);
    mac->tools.pop_back();
    answer(subject, "subject= /CN=Sample\n");
    EXPECT_FALSE(run(VELValue::array({wrong})));
    expectError(error, 8, mismatch("Finder", "(null)"));
}

TEST_F(VELProcessRunningCheckTest, FailsWithoutProcessesWhenCalledDirectly) {
    list();
    EXPECT_FALSE(check.runCheckWithParameters(VELValue::object(), &error));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines{amountLine});
}

TEST_F(VELProcessRunningCheckTest, AnswersSilentlyWithoutAnErrorOutParameter) {
    EXPECT_FALSE(check.isAnyValidProcessRunning({{{"name", "Finder"}}}, nullptr));
    EXPECT_EQ(logger->take(), Lines{});
    list();
    EXPECT_TRUE(check.isAnyValidProcessRunning({{{"name", "Finder"}}}, nullptr));
    EXPECT_FALSE(check.isAnyValidProcessRunning(
        {{{"name", "Finder"}, {"signingCertificateSubjectOU", "TEAM"}}}, nullptr));
    EXPECT_FALSE(check.isAnyValidProcessRunning(VELValue::array({VELValue::object()}), nullptr));
}

TEST_F(VELProcessRunningCheckTest, ExaminesEveryCandidateWithoutAnErrorOutParameter) {
    answer(extraction("400"), "");
    answer(extraction("401"), "");
    answer(subject, subjectLine("OTHER"));
    answer(subject, subjectLine("TEAM"));
    EXPECT_TRUE(check.isProcessRunningWithName("agent", "TEAM", listing, nullptr));
    EXPECT_EQ(logger->take(), Lines{});
}

TEST_F(VELProcessRunningCheckTest, FindsOneEntryInAGivenListing) {
    EXPECT_TRUE(check.isProcessRunningWithName("finder", std::nullopt, listing, &error));
    EXPECT_FALSE(check.isProcessRunningWithName("missing", std::nullopt, listing, &error));
    EXPECT_FALSE(error);
    sign("312", "TEAM");
    EXPECT_TRUE(check.isProcessRunningWithName("finder", "TEAM", listing, &error));
    EXPECT_FALSE(check.isProcessRunningWithName("finder", "OTHER", listing, &error));
    expectError(error, 8, mismatch("finder", "TEAM"));
    EXPECT_TRUE(check.isProcessRunningWithName("finder", std::nullopt, listing, &error));
    EXPECT_TRUE(error);
}

TEST_F(VELProcessRunningCheckTest, ReadsTheOUOfAProcess) {
    sign("-7", "TEAM");
    EXPECT_EQ(check.signingCertSubjectOUForProcess(-7, &error), "TEAM");
    EXPECT_FALSE(error);
    EXPECT_EQ(launched(), (Commands{extraction("-7"), subject}));
}

TEST_F(VELProcessRunningCheckTest, LogsFromItsOwnFile) {
    list();
    EXPECT_TRUE(run({{{"name", "Finder"}}}));
    for (const LogLine& line : logger->take()) {
        EXPECT_EQ(line.file, "Classes/Mac/VELProcessRunningCheck.cpp") << line;
    }
}

TEST_F(VELProcessRunningCheckTest, ShowsItsAnswersInTheResult) {
    list();
    sign("312", "TEAM");
    answer(extraction("400"), "");
    answer(extraction("401"), "");
    const VELValue entries = VELValue::parse(R"([
        {"type": "anyProcessRunning", "processes": [{"name": "Finder",
            "signingCertificateSubjectOU": "TEAM"}]},
        {"type": "anyProcessRunning", "processes": []},
        {"type": "anyProcessRunning", "processes": [{"name": 5}]},
        {"type": "anyProcessRunning", "processes": [{"name": "agent",
            "signingCertificateSubjectOU": "OTHER"}]},
        {"type": "anyProcessRunning"}])");
    VELValue checks = entries;
    checks[0]["pass"] = true;
    checks[1]["pass"] = false;
    checks[2]["error"] = "processes[0].name is not a string";
    checks[3]["error"] = mismatch("agent", "TEAM");
    checks[4]["error"] =
        "Required parameter \"processes\" missing from check type \"anyProcessRunning\".";
    EXPECT_EQ(resultOf(entries), (VELValue{{"checks", checks}, {"pass", false}}));
    EXPECT_EQ(launched(),
              (Commands{processStatus, extraction("312"), subject, processStatus, processStatus,
                        processStatus, extraction("400"), subject, extraction("401")}));
}

TEST_F(VELProcessRunningCheckTest, GoesOnToTheNextCheckAfterOneThatRaises) {
    list();
    const VELValue raising = {{"type", "anyProcessRunning"}, {"processes", {5}}};
    const VELValue passing = {{"type", "anyProcessRunning"},
                              {"processes", {{{"name", "launchd"}}}}};
    const VELDictionary result = resultOf({raising, passing});
    EXPECT_EQ(result["checks"][0]["error"], "processes[0] is not an object");
    EXPECT_EQ(result["checks"][1]["pass"], true);
    EXPECT_EQ(result["pass"], false);
    const LogLine raised = {3, "Error: processes[0] is not an object",
                            "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]"};
    const Lines lines = logger->take();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), raised), 1);
}

TEST(VELProcessSubjectLine, HoldsTheOUBetweenSlashes) {
    const auto subjectOU = VELProcessRunningCheck::subjectOUInSubjectLine;
    EXPECT_EQ(subjectOU("subject= /CN=a/OU=TEAM/O=b\n"), "TEAM");
    EXPECT_EQ(subjectOU("/OU=first/OU=second/"), "first");
    EXPECT_EQ(subjectOU("/OU=a=b, c /"), "a=b, c ");
    EXPECT_EQ(subjectOU("/OU=/O=b"), "");
    EXPECT_EQ(subjectOU("/OU=two\nlines/"), "two\nlines");
    EXPECT_EQ(subjectOU("/OU=TEAM"), std::nullopt);
    EXPECT_EQ(subjectOU("/ou=TEAM/"), std::nullopt);
    EXPECT_EQ(subjectOU("OU=TEAM/"), std::nullopt);
    EXPECT_EQ(subjectOU("/CN=a/O=b"), std::nullopt);
    EXPECT_EQ(subjectOU(""), std::nullopt);
}

} // namespace
