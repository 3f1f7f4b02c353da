// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintReport.h"

#include <gtest/gtest.h>

namespace {

const Finding fingerprint = {"mac[0].sha1",
                             "has 64 digits, like a fingerprint of SHA-256: no certificate matches",
                             "write the SHA-1 fingerprint",
                             rule::neverPasses,
                             3,
                             12};
const Finding key = {"mac[1].nam", "is not read", "did you mean \"name\"?", rule::unreadKey, 4, 1};
const Finding twice = {"mac[2]", "repeats mac[1]", "remove one of them", rule::repetition, 5, 3};

std::string reportOf(const std::vector<Finding>& findings, const ReportStyle& style) {
    return lintReport({{"a.json", findings}}, style);
}

TEST(LintReport, ShowsWhereWhatAndAdvice) {
    EXPECT_EQ(
        lintReport({{"a.json", {fingerprint}}, {"b.json", {}}, {"c.json", {key, twice}}}, {}),
        "a.json:3:12: error: never-passes\n"
        "    mac[0].sha1 has 64 digits, like a fingerprint of SHA-256: no certificate matches\n"
        "    advice: write the SHA-1 fingerprint\n"
        "c.json:4:1: warning: unread-key\n"
        "    mac[1].nam is not read\n"
        "    advice: did you mean \"name\"?\n"
        "c.json:5:3: note: repetition\n"
        "    mac[2] repeats mac[1]\n"
        "    advice: remove one of them\n"
        "\n"
        "3 findings\n");
    EXPECT_EQ(reportOf({twice}, {}), "a.json:5:3: note: repetition\n"
                                     "    mac[2] repeats mac[1]\n"
                                     "    advice: remove one of them\n"
                                     "\n"
                                     "1 finding\n");
    EXPECT_EQ(reportOf({}, {}), "no findings\n");
}

TEST(LintReport, WrapsOnATerminal) {
    EXPECT_EQ(reportOf({fingerprint}, {.columns = 30}), "a.json:3:12: error:\n"
                                                        "never-passes\n"
                                                        "    mac[0].sha1 has 64 digits,\n"
                                                        "    like a fingerprint of\n"
                                                        "    SHA-256: no certificate\n"
                                                        "    matches\n"
                                                        "    advice: write the SHA-1\n"
                                                        "    fingerprint\n"
                                                        "\n"
                                                        "1 finding\n");
    EXPECT_EQ(reportOf({twice}, {.columns = 15}), "a.json:5:3:\n"
                                                  "note:\n"
                                                  "repetition\n"
                                                  "mac[2] repeats\n"
                                                  "mac[1]\n"
                                                  "advice: remove\n"
                                                  "one of them\n"
                                                  "\n"
                                                  "1 finding\n");
}

TEST(LintReport, ColoursBySeverity) {
    const std::string report =
        reportOf({fingerprint, key, twice}, {.columns = 200, .colour = true});
    EXPECT_NE(report.find("\x1b[1;31ma.json:3:12: error: never-passes\x1b[0m\n"),
              std::string::npos);
    EXPECT_NE(report.find("\x1b[1;33ma.json:4:1: warning: unread-key\x1b[0m\n"), std::string::npos);
    EXPECT_NE(report.find("\na.json:5:3: note: repetition\n"), std::string::npos);
    EXPECT_TRUE(report.ends_with("\x1b[1;31m3 findings\x1b[0m\n"));
    EXPECT_EQ(reportOf({}, {.columns = 80, .colour = true}), "\x1b[1;32mno findings\x1b[0m\n");
}

TEST(LintReport, EscapesControlCharacters) {
    EXPECT_EQ(lintReport({{"f\x1b", {{"a\x1b", "b\x07", "c\n", rule::noEffect, 1, 2}}}}, {}),
              "f\\u001b:1:2: warning: no-effect\n"
              "    a\\u001b b\\u0007\n"
              "    advice: c\\n\n"
              "\n"
              "1 finding\n");
}

TEST(LintReport, IsJSONForPrograms) {
    EXPECT_EQ(lintJSON({{"a.json", {key}}, {"b\xff.json", {twice}}}),
              R"({"findings":[{"file":"a.json","line":4,"column":1,"severity":"warning",)"
              R"("code":"unread-key","text":"mac[1].nam is not read; did you mean \"name\"?"},)"
              "{\"file\":\"b\uFFFD.json\",\"line\":5,\"column\":3,\"severity\":\"note\","
              R"("code":"repetition","text":"mac[2] repeats mac[1]; remove one of them"}]})");
    EXPECT_EQ(lintJSON({{"a.json", {}}}), R"({"findings":[]})");
}

} // namespace
