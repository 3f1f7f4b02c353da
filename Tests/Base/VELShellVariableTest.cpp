// SPDX-License-Identifier: Apache-2.0
#include "Base/VELShellVariable.h"

#include <gtest/gtest.h>

namespace {

using vel::shellVariable;

TEST(ShellVariable, IsWhatTheLastAssignmentSays) {
    EXPECT_EQ(shellVariable("A=no\n  A=\"YES\" \nB=x\n", "A"), "YES");
    EXPECT_EQ(shellVariable("A='Drop'", "A"), "Drop");
    EXPECT_EQ(shellVariable("A=1 B=2; A=3 # A=4\n", "A"), "3");
    EXPECT_EQ(shellVariable("A=1\nA=\n", "A"), "");
}

TEST(ShellVariable, IsAbsentWhereNothingAssignsIt) {
    for (const char* text : {"", "#A=yes\nAA=yes\nA =yes\n", "\"A\"=yes", "export A=yes"}) {
        EXPECT_EQ(shellVariable(text, "A"), std::nullopt) << text;
    }
}

TEST(ShellVariable, IsAbsentWhereTheTextIsMalformedOrExpands) {
    for (const char* text : {"A=yes\nB=\"", "A=yes & B=no", "A=$B", "A=yes\nA=`date`"}) {
        EXPECT_EQ(shellVariable(text, "A"), std::nullopt) << text;
    }
    EXPECT_EQ(shellVariable(std::string_view("A=yes\n\0", 7), "A"), std::nullopt);
}

} // namespace
