// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/ResultReport.h"

#include "Tools/vel-posture/check/CheckOutcome.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

const VELValue threeChecks = VELValue::parse(R"({
    "checks": [
        {"type": "localFirewall", "pass": true},
        {"type": "minimumOSVersion", "version": "99.0", "comment": "none yet", "pass": false},
        {"type": "minimumOSVersion", "pass": true,
         "error": "Required parameter \"version\" missing from check type \"minimumOSVersion\"."}
    ],
    "pass": false,
    "metrics": {"total_ms": 10012.7504, "details": [
        {"check": {"type": "localFirewall", "total_ms": 10000.0}},
        {"check": {"type": "minimumOSVersion", "total_ms": 12.75}},
        {"check": {"type": "minimumOSVersion", "total_ms": 0.0004}}
    ]}
})");

/// A result with one check, which took no time.
VELValue resultOfEntry(VELValue entry, bool pass) {
    VELValue result = VELValue::parse(
        R"({"checks": [], "metrics": {"total_ms": 0.0, "details": [{"check": {"total_ms": 0.0}}]}})");
    result["checks"].push_back(std::move(entry));
    result["pass"] = pass;
    return result;
}

std::string reportOf(const VELValue& result, const ReportStyle& style) {
    return resultReport(result, VELValue(), style);
}

std::string verdictOf(std::size_t columns) {
    const std::string report = reportOf(threeChecks, {.columns = columns});
    return report.substr(report.find("\n\n") + 2);
}

TEST(Report, ShowsALinePerCheckThenTheVerdict) {
    EXPECT_EQ(reportOf(threeChecks, {}),
              "RESULT         MS  CHECK             DETAIL\n"
              "pass    10000.000  localFirewall\n"
              "fail       12.750  minimumOSVersion  comment: none yet, version: 99.0\n"
              "error       0.000  minimumOSVersion  Required parameter \"version\" missing from "
              "check type \"minimumOSVersion\".\n"
              "\n"
              "NOT PASSED  1 of 3 checks passed, 1 failed, 1 error, 10012.750 ms\n");
    EXPECT_EQ(exitStatus(threeChecks, VELValue(), false), 1);
    EXPECT_FALSE(ranNoCheck(threeChecks));
}

TEST(Report, ShowsTheReasonBelowACheck) {
    const std::vector<Evidence> evidence = {
        {.code = "a", .text = "the firewall is on"},
        {.code = "b", .text = "found 14.5, wanted at least 99.0"},
        {.code = "c", .text = "the entry has no parameter \"version\""}};
    EXPECT_EQ(resultReport(threeChecks, VELValue(), {}, true, evidence),
              "RESULT      MS  CHECK             DETAIL\n"
              "fail    12.750  minimumOSVersion  comment: none yet, version: 99.0\n"
              "        found 14.5, wanted at least 99.0\n"
              "error    0.000  minimumOSVersion  Required parameter \"version\" missing from "
              "check type \"minimumOSVersion\".\n"
              "        the entry has no parameter \"version\"\n"
              "\n"
              "NOT PASSED  1 of 3 checks passed, 1 failed, 1 error, 10012.750 ms\n");
    const std::string narrow =
        resultReport(threeChecks, VELValue(), {.columns = 30}, true, evidence);
    EXPECT_NE(narrow.find("        found 14.5, wanted at\n        least 99.0\n"), std::string::npos)
        << narrow;
}

TEST(Report, WrapsTheDetailOnATerminal) {
    EXPECT_EQ(reportOf(threeChecks, {.columns = 65}),
              "RESULT         MS  CHECK             DETAIL\n"
              "pass    10000.000  localFirewall\n"
              "fail       12.750  minimumOSVersion  comment: none yet, version:\n"
              "                                     99.0\n"
              "error       0.000  minimumOSVersion  Required parameter \"version\"\n"
              "                                     missing from check type\n"
              "                                     \"minimumOSVersion\".\n"
              "\n"
              "NOT PASSED  1 of 3 checks passed, 1 failed, 1 error, 10012.750 ms\n");
}

TEST(Report, PutsTheDetailBelowOnANarrowTerminal) {
    EXPECT_EQ(reportOf(threeChecks, {.columns = 40}), "pass    localFirewall  10000.000 ms\n"
                                                      "fail    minimumOSVersion  12.750 ms\n"
                                                      "        comment: none yet, version: 99.0\n"
                                                      "error   minimumOSVersion  0.000 ms\n"
                                                      "        Required parameter \"version\"\n"
                                                      "        missing from check type\n"
                                                      "        \"minimumOSVersion\".\n"
                                                      "\n"
                                                      "NOT PASSED  1 of 3 checks passed,\n"
                                                      "            1 failed, 1 error,\n"
                                                      "            10012.750 ms\n");
    EXPECT_EQ(reportOf(threeChecks, {.columns = 34}), "pass    localFirewall\n"
                                                      "        10000.000 ms\n"
                                                      "fail    minimumOSVersion\n"
                                                      "        12.750 ms\n"
                                                      "        comment: none yet,\n"
                                                      "        version: 99.0\n"
                                                      "error   minimumOSVersion  0.000 ms\n"
                                                      "        Required parameter\n"
                                                      "        \"version\" missing from\n"
                                                      "        check type\n"
                                                      "        \"minimumOSVersion\".\n"
                                                      "\n"
                                                      "NOT PASSED  1 of 3 checks passed,\n"
                                                      "            1 failed, 1 error,\n"
                                                      "            10012.750 ms\n");
}

TEST(Report, BreaksTheVerdictBehindCommas) {
    EXPECT_EQ(verdictOf(38), "NOT PASSED  1 of 3 checks passed,\n"
                             "            1 failed, 1 error,\n"
                             "            10012.750 ms\n");
    EXPECT_EQ(verdictOf(26), "NOT PASSED  1 of 3 checks\n"
                             "            passed,\n"
                             "            1 failed,\n"
                             "            1 error,\n"
                             "            10012.750 ms\n");
    EXPECT_EQ(verdictOf(44), "NOT PASSED  1 of 3 checks passed, 1 failed,\n"
                             "            1 error, 10012.750 ms\n");
    EXPECT_EQ(verdictOf(20), "NOT PASSED\n"
                             "  1 of 3 checks\n"
                             "  passed,\n"
                             "  1 failed, 1 error,\n"
                             "  10012.750 ms\n");
}

TEST(Report, ShowsContainersAsJSONWithSpaces) {
    const VELValue entry = VELValue::parse(R"({
        "type": "t", "pass": true, "a": [], "b": {}, "c": ["x", 1.5, null, ["y\"z", {"k": "v"}]],
        "d": {"e": [true], "f\n": "\u001b"}})");
    EXPECT_EQ(
        reportOf(resultOfEntry(entry, true), {}),
        "RESULT     MS  CHECK  DETAIL\n"
        "pass    0.000  t      a: [], b: {}, c: [\"x\", 1.5, null, [\"y\\\"z\", {\"k\": \"v\"}]], "
        "d: {\"e\": [true], \"f\\n\": \"\\u001b\"}\n"
        "\n"
        "PASSED  1 of 1 check passed, 0.000 ms\n");
}

TEST(Report, NoLineIsWiderThanTheTerminal) {
    VELValue entry = {{"type", "日本語の検査という長い名前のもの日本語の検査"}, {"error", ""}};
    for (int word = 0; word < 40; ++word) {
        entry["error"].get_ref<std::string&>() += "語の検 word " + std::string(50, 'x') + " ";
    }
    // Narrower than 12, the verdict's word alone is too wide.
    for (std::size_t columns = 12; columns < 140; ++columns) {
        const std::string report = reportOf(resultOfEntry(entry, false), {.columns = columns});
        std::size_t begin = 0;
        while (begin < report.size()) {
            const std::size_t end = report.find('\n', begin);
            std::size_t width = 0;
            for (std::size_t index = begin; index < end; ++index) {
                // Of this text, characters of three bytes take two columns.
                width += (report[index] & 0xC0) == 0x80 ? 0U
                         : (report[index] & 0x80) != 0  ? 2U
                                                        : 1U;
            }
            // The ellipsis, counted as two, takes one.
            const bool truncated = report.substr(begin, end - begin).find("…") != std::string::npos;
            EXPECT_LE(width - (truncated ? 1U : 0U), columns) << report.substr(begin, end - begin);
            begin = end + 1;
        }
    }
}

TEST(Report, ColoursTheWordsOfTheResultAlone) {
    EXPECT_EQ(reportOf(threeChecks, {.columns = 200, .colour = true}),
              "RESULT         MS  CHECK             DETAIL\n"
              "\x1b[1;32mpass\x1b[0m    10000.000  localFirewall\n"
              "\x1b[1;31mfail\x1b[0m       12.750  minimumOSVersion  comment: none yet, version: "
              "99.0\n"
              "\x1b[1;33merror\x1b[0m       0.000  minimumOSVersion  Required parameter "
              "\"version\" missing from check type \"minimumOSVersion\".\n"
              "\n"
              "\x1b[1;31mNOT PASSED\x1b[0m  1 of 3 checks passed, 1 failed, 1 error, 10012.750 "
              "ms\n");
}

TEST(Report, EscapesWhatTheResultBrings) {
    const VELValue entry = {{"type", "a\x1b[2Jb\nc"}, {"error", "no \u009b31m\r\u202e"}};
    EXPECT_EQ(reportOf(resultOfEntry(entry, false), {.columns = 80, .colour = false}),
              "RESULT     MS  CHECK           DETAIL\n"
              "error   0.000  a\\u001b[2Jb\\nc  no \\u009b31m\\r\\u202e\n"
              "\n"
              "NOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n");
    const VELValue parameters = {{"type", "t"}, {"k\x1b", "v\x07"}, {"pass", false}};
    EXPECT_EQ(reportOf(resultOfEntry(parameters, false), {}),
              "RESULT     MS  CHECK  DETAIL\n"
              "fail    0.000  t      k\\u001b: v\\u0007\n"
              "\n"
              "NOT PASSED  0 of 1 check passed, 1 failed, 0.000 ms\n");
}

TEST(Report, ShowsEntriesWithoutAProperType) {
    const std::string end = "\n\nNOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n";
    EXPECT_EQ(reportOf(resultOfEntry({{"error", "e"}}, false), {}),
              "RESULT     MS  CHECK      DETAIL\nerror   0.000  (no type)  e" + end);
    EXPECT_EQ(reportOf(resultOfEntry({{"type", nullptr}, {"error", 7}}, false), {}),
              "RESULT     MS  CHECK  DETAIL\nerror   0.000  null   7" + end);
}

TEST(Report, ShortensLongNamesAndParameters) {
    const std::string type(50, 't');
    const VELValue entry = {
        {"type", type}, {"a", std::string(70, 'v')}, {"b", {std::string(70, 'w'), "x"}},
        {"c", 1},       {"d", std::string(60, 'y')}, {"pass", true}};
    const std::string detail =
        "a: " + std::string(59, 'v') + "…, b: [\"" + std::string(49, 'w') + "…\n";
    EXPECT_EQ(reportOf(resultOfEntry(entry, true), {.columns = 500}),
              "RESULT     MS  CHECK                         DETAIL\n"
              "pass    0.000  " +
                  std::string(27, 't') + "…  " + detail +
                  "\nPASSED  1 of 1 check passed, 0.000 ms\n");
    EXPECT_EQ(reportOf(resultOfEntry(entry, true), {}),
              "RESULT     MS  CHECK                         DETAIL\n"
              "pass    0.000  " +
                  type + "  " + detail + "\nPASSED  1 of 1 check passed, 0.000 ms\n");
}

TEST(Report, ShowsAWholeFingerprint) {
    const std::string spaced = "00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF 00 11 22 33";
    EXPECT_EQ(
        reportOf(resultOfEntry({{"type", "t"}, {"sha1", spaced}, {"pass", false}}, false), {}),
        "RESULT     MS  CHECK  DETAIL\n"
        "fail    0.000  t      sha1: " +
            spaced + "\n\nNOT PASSED  0 of 1 check passed, 1 failed, 0.000 ms\n");
}

TEST(Report, StaysSmallHoweverDeepOrLongAParameterIs) {
    VELValue deep = 1;
    for (int level = 0; level < 500; ++level) {
        deep = VELValue::array({std::move(deep)});
    }
    const VELValue wide = std::vector<std::string>(100'000, "w");
    for (const VELValue& value : {deep, wide}) {
        EXPECT_LT(
            reportOf(resultOfEntry({{"type", "t"}, {"p", value}, {"pass", true}}, true), {}).size(),
            300U);
    }
}

TEST(Report, StaysSmallBesideALongName) {
    VELValue result = resultOfEntry({{"type", std::string(100'000, 't')}, {"pass", true}}, true);
    for (int index = 0; index < 1000; ++index) {
        result["checks"].push_back({{"type", "u"}, {"pass", true}});
        result["metrics"]["details"].push_back({{"check", {{"total_ms", 0.0}}}});
    }
    EXPECT_LT(reportOf(result, {}).size(), 200'000U);
}

TEST(Report, SaysThatNoCheckWasRun) {
    const VELValue result = VELValue::parse(
        R"({"checks": [], "pass": true, "metrics": {"total_ms": 0.0, "details": []}})");
    EXPECT_EQ(reportOf(result, {}), "PASSED  no checks were run\n");
    EXPECT_EQ(reportOf(result, {.columns = 80, .colour = true}),
              "\x1b[1;33mPASSED\x1b[0m  no checks were run\n");
    EXPECT_EQ(exitStatus(result, VELValue(), false), 0);
    EXPECT_TRUE(ranNoCheck(result));
}

TEST(Report, ShowsIdentityValues) {
    const VELValue result = VELValue::parse(
        R"({"identity_params": {"device_id": "", "device_serial_number": "C02\u001b[0m"},
            "metrics": {"total_ms": 0.5}})");
    EXPECT_EQ(reportOf(result, {}), "device_id             (empty)\n"
                                    "device_serial_number  C02\\u001b[0m\n");
    EXPECT_EQ(reportOf(result, {.columns = 30}), "device_id\n"
                                                 "  (empty)\n"
                                                 "device_serial_number\n"
                                                 "  C02\\u001b[0m\n");
    EXPECT_EQ(exitStatus(result, VELValue(), false), 0);
    EXPECT_FALSE(ranNoCheck(result));
    EXPECT_EQ(reportOf(VELValue::parse(R"({"identity_params": {}, "metrics": {}})"), {}),
              "no identity values\n");
}

TEST(Report, ShowsAnIdentifierThatIsNoText) {
    EXPECT_EQ(reportOf(VELValue::parse(R"({"identity_params": {"device_id": [1, "a"]}})"), {}),
              "device_id  [1,\"a\"]\n");
}

TEST(Report, ShowsAnErrorResult) {
    const VELValue result = {{"error", "mac[2] is not an object"}};
    EXPECT_EQ(reportOf(result, {}), "ERROR  mac[2] is not an object\n");
    EXPECT_EQ(reportOf(result, {.columns = 20, .colour = true}),
              "\x1b[1;31mERROR\x1b[0m  mac[2] is not\n       an object\n");
    EXPECT_EQ(exitStatus(result, VELValue(), false), 2);
    EXPECT_FALSE(ranNoCheck(result));
}

TEST(Report, PassedIsZero) {
    EXPECT_EQ(exitStatus(resultOfEntry({{"type", "t"}, {"pass", true}}, true), VELValue(), false),
              0);
}

} // namespace
