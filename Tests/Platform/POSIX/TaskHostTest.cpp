// SPDX-License-Identifier: Apache-2.0
//
// Hosts in odd states that run tools. Each is a process of its own, so that none harms this one.
#include <cstdio>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

namespace {

class TaskHost : public ::testing::TestWithParam<const char*> {};

TEST_P(TaskHost, RunsTools) {
    // The thread sanitizer would end a process that goes on after a fork of several threads.
    const std::string command = std::string("TSAN_OPTIONS=\"$TSAN_OPTIONS die_after_fork=0\" "
                                            "exec timeout 120 '") +
                                VEL_TASK_HOST + "' " + GetParam() + " 2>&1";
    FILE* host = ::popen(command.c_str(), "r");
    ASSERT_NE(host, nullptr);
    std::string said;
    for (int character = std::fgetc(host); character != EOF; character = std::fgetc(host)) {
        said += static_cast<char>(character);
    }
    const int status = ::pclose(host);
    ASSERT_TRUE(WIFEXITED(status)) << status << "\n" << said;
    if (WEXITSTATUS(status) == 77) {
        GTEST_SKIP() << said;
    }
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(said, "");
}

INSTANTIATE_TEST_SUITE_P(
    States, TaskHost,
    ::testing::Values("closed-streams", "children-ignored", "children-reaped", "other-children",
                      "signals-blocked", "interrupted", "many-descriptors", "descriptor-limit",
                      "sixteen-threads", "large-host", "no-worker", "exit-while-pending",
                      "fork-without-exec", "fork-while-busy", "fork-while-logging", "environment",
                      "checks-without-streams", "static-destructor", "number-reused"),
    [](const auto& scenario) {
        std::string name;
        bool startsWord = true;
        for (const char character : std::string(scenario.param)) {
            if (character != '-') {
                name += startsWord ? static_cast<char>(character - 'a' + 'A') : character;
            }
            startsWord = character == '-';
        }
        return name;
    });

} // namespace
