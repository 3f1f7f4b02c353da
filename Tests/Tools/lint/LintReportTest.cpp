// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintReport.h"

#include <gtest/gtest.h>

namespace {

const std::vector<Finding> two = {
    {"mac[0].sha1", "has 64 digits, like a fingerprint of SHA-256: no certificate matches",
     "write the SHA-1 fingerprint"},
    {"mac[1].type", "is \"x\", which is not a check type: the entry is an error",
     "did you mean \"localFirewall\"?"}};

TEST(LintReport, ShowsPlaceProblemAndAdvice) {
    EXPECT_EQ(lintReport(two, {}),
              "mac[0].sha1\n"
              "    has 64 digits, like a fingerprint of SHA-256: no certificate matches\n"
              "    advice: write the SHA-1 fingerprint\n"
              "mac[1].type\n"
              "    is \"x\", which is not a check type: the entry is an error\n"
              "    advice: did you mean \"localFirewall\"?\n"
              "\n"
              "2 findings\n");
    EXPECT_EQ(lintReport({two[1]}, {}), "mac[1].type\n"
                                        "    is \"x\", which is not a check type: the entry is an "
                                        "error\n"
                                        "    advice: did you mean \"localFirewall\"?\n"
                                        "\n"
                                        "1 finding\n");
    EXPECT_EQ(lintReport({}, {}), "no findings\n");
}

TEST(LintReport, WrapsOnATerminal) {
    EXPECT_EQ(lintReport({two[0]}, {.columns = 30}), "mac[0].sha1\n"
                                                     "    has 64 digits, like a\n"
                                                     "    fingerprint of SHA-256: no\n"
                                                     "    certificate matches\n"
                                                     "    advice: write the SHA-1\n"
                                                     "    fingerprint\n"
                                                     "\n"
                                                     "1 finding\n");
    EXPECT_EQ(lintReport({two[0]}, {.columns = 15}), "mac[0].sha1\n"
                                                     "has 64 digits,\n"
                                                     "like a\n"
                                                     "fingerprint of\n"
                                                     "SHA-256: no\n"
                                                     "certificate\n"
                                                     "matches\n"
                                                     "advice: write\n"
                                                     "the SHA-1\n"
                                                     "fingerprint\n"
                                                     "\n"
                                                     "1 finding\n");
}

TEST(LintReport, ColoursEachLine) {
    EXPECT_EQ(lintReport({two[1]}, {.columns = 80, .colour = true}),
              "\x1b[1;33mmac[1].type\x1b[0m\n"
              "    is \"x\", which is not a check type: the entry is an error\n"
              "    advice: did you mean \"localFirewall\"?\n"
              "\n"
              "\x1b[1;31m1 finding\x1b[0m\n");
    EXPECT_EQ(lintReport({}, {.columns = 80, .colour = true}), "\x1b[1;32mno findings\x1b[0m\n");
}

TEST(LintReport, NothingInItSteersATerminal) {
    EXPECT_EQ(lintReport({{"a\x1b", "b\x07", "c\n"}}, {}), "a\\u001b\n"
                                                           "    b\\u0007\n"
                                                           "    advice: c\\n\n"
                                                           "\n"
                                                           "1 finding\n");
}

TEST(LintReport, IsJSONForPrograms) {
    EXPECT_EQ(
        lintJSON({two[1]}),
        R"({"findings":[{"place":"mac[1].type","problem":"is \"x\", which is not a check type: )"
        R"(the entry is an error","advice":"did you mean \"localFirewall\"?"}]})");
    EXPECT_EQ(lintJSON({}), R"({"findings":[]})");
}

} // namespace
