// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/FileContent.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

namespace {

const vel::ToolUsage usage = {.name = "tool",
                              .purpose = "Does it.",
                              .arguments = {"--of", "PID"},
                              .options = {{"--bus", "The bus"}, {"--root", "The root"}}};

TEST(ToolCommandLine, TakesItsArgumentsAndOptions) {
    const auto request = vel::readCommandLine(usage, {"--of", "12", "--root", "/r"});
    EXPECT_FALSE(request.status);
    EXPECT_EQ(request.values, (vel::ToolValues{{"PID", "12"}, {"--root", "/r"}}));
    EXPECT_EQ(vel::valueOr(request.values, "--root", "/"), "/r");
    EXPECT_EQ(vel::valueOr(request.values, "--bus", "none"), "none");
}

TEST(ToolCommandLine, HelpNamesEverything) {
    const auto request = vel::readCommandLine(usage, {"--help"});
    EXPECT_EQ(request.status, 0);
    EXPECT_EQ(request.output, "Usage: tool --of PID [OPTIONS]\n\nDoes it.\n\nOptions:\n"
                              "  --bus VALUE       The bus\n"
                              "  --root VALUE      The root\n"
                              "  --help            Print this text and exit\n"
                              "  --version         Print the version and exit\n");
    EXPECT_EQ(request.diagnostics, "");
}

TEST(ToolCommandLine, WrongUseSaysWhat) {
    const std::string form = "Usage: tool --of PID [OPTIONS]\n";
    const auto diagnostics = [](const std::vector<std::string_view>& arguments) {
        const auto request = vel::readCommandLine(usage, arguments);
        EXPECT_EQ(request.status, 2);
        EXPECT_EQ(request.output, "");
        return request.diagnostics;
    };
    EXPECT_EQ(diagnostics({}), "tool: arguments are missing\n" + form);
    EXPECT_EQ(diagnostics({"--of"}), "tool: arguments are missing\n" + form);
    EXPECT_EQ(diagnostics({"--if", "1"}), "tool: unexpected argument \"--if\"\n" + form);
    EXPECT_EQ(diagnostics({"--of", ""}), "tool: unexpected argument \"\"\n" + form);
    EXPECT_EQ(diagnostics({"--of", "1", "2"}), "tool: unexpected argument \"2\"\n" + form);
    EXPECT_EQ(diagnostics({"--of", "1", "--bus"}), "tool: a value is missing after --bus\n" + form);
    EXPECT_EQ(diagnostics({"--of", "1", "--bus", "a", "--bus", "b"}),
              "tool: unexpected argument \"--bus\"\n" + form);
}

TEST(ToolCommandLine, TakesWhyAsItsLastArgumentWhereItSaysWhy) {
    vel::ToolUsage asking = usage;
    EXPECT_EQ(vel::readCommandLine(asking, {"--of", "1", "--why"}).status, 2);
    asking.saysWhy = true;
    const auto request = vel::readCommandLine(asking, {"--of", "1", "--bus", "b", "--why"});
    EXPECT_FALSE(request.status);
    EXPECT_TRUE(vel::isAskedWhy(request.values));
    EXPECT_EQ(vel::valueOr(request.values, "--bus", ""), "b");
    EXPECT_FALSE(vel::isAskedWhy(vel::readCommandLine(asking, {"--of", "1"}).values));
    EXPECT_EQ(vel::readCommandLine(asking, {"--of", "1", "--why", "--bus", "b"}).status, 2);
    EXPECT_EQ(vel::lineOfReason("a-b", "one\ntwo\x1b"), "a-b: one two\\x1B\n");
}

class EveryTool : public testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(EveryTool, HasHelpAndVersionAndRefusesWrongUse) {
    const auto& [name, form] = GetParam();
    const std::string program = toolProgram(name);
    EXPECT_EQ(runProgram({program, "--version"}), (ToolRun{0, name + " 1.0.0\n", ""}));
    const auto help = runProgram({program, "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.diagnostics, "");
    EXPECT_EQ(help.output.substr(0, help.output.find('\n')), "Usage: " + name + " " + form);
    EXPECT_EQ(
        runProgram({program}),
        (ToolRun{2, "", name + ": arguments are missing\nUsage: " + name + " " + form + "\n"}));
}

INSTANTIATE_TEST_SUITE_P(
    Tools, EveryTool,
    testing::Values(std::pair("process-listing", "-axc [OPTIONS]"),
                    std::pair("firewall-state", "--getglobalstate [OPTIONS]"),
                    std::pair("domain-binding", "-show -xml [OPTIONS]"),
                    std::pair("code-signature", "--display --extract-certificates PID [OPTIONS]"),
                    std::pair("certificate-subject",
                              "x509 -inform DER -in codesign0 -subject -noout")),
    [](const auto& tool) {
        std::string name = tool.param.first;
        std::erase(name, '-');
        return name;
    });

void waitUntil(const std::function<bool()>& condition) {
    while (!condition()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

bool hasEnded(const std::string& processID) {
    const std::string stat = contentOf("/proc/" + processID + "/stat");
    return stat.empty() || stat.find(") Z ") != std::string::npos;
}

/// Leaves other bytes than zeros where the next function's variables will be.
[[gnu::noinline]] void fillStack() {
    volatile unsigned char bytes[4096]; // NOLINT: filled below
    for (volatile unsigned char& byte : bytes) {
        byte = 0xFF;
    }
}

TEST(EndingQuietly, LetsTheAlarmThroughAndNoOtherSignal) {
    sigset_t blocked;
    sigset_t before;
    sigset_t after;
    ::sigemptyset(&blocked);
    for (const int signal : {SIGALRM, SIGHUP, SIGTERM, SIGUSR1}) {
        ::sigaddset(&blocked, signal);
    }
    ::sigprocmask(SIG_BLOCK, &blocked, &before);
    fillStack();
    vel::endQuietlyAfter(0, nullptr); // never
    ::sigprocmask(SIG_SETMASK, &before, &after);
    ::signal(SIGALRM, SIG_DFL);
    EXPECT_EQ(::sigismember(&after, SIGALRM), 0);
    for (const int signal : {SIGHUP, SIGTERM, SIGUSR1}) {
        EXPECT_EQ(::sigismember(&after, signal), 1) << signal;
    }
}

TEST(HelperPrograms, EndWithTheProgramThatStartedThem) {
    const TestFolder folder;
    const std::string numbers = folder.path() + "/processes";
    const RunningProgram host({"/bin/sh", "-c",
                               "\"$0\" --module \"$1\" --seconds 600 & echo $! >\"$2\"; wait",
                               toolProgram("keychain-contents"), VEL_FAULTY_MODULE, numbers},
                              {"VEL_MODULE_FAULT=hang"});
    waitUntil([&] { return contentOf(numbers).ends_with('\n'); });
    std::string helper = contentOf(numbers);
    helper.pop_back();
    // It has a child when it is at work.
    const std::string children = "/proc/" + helper + "/task/" + helper + "/children";
    waitUntil([&] { return !contentOf(children).empty(); });
    std::string worker = contentOf(children);
    worker.erase(worker.find(' '));
    ::kill(host.processID(), SIGKILL);
    waitUntil([&] { return hasEnded(helper) && hasEnded(worker); });
}

TEST(HelperPrograms, NameTheModuleThatFails) {
    const ToolRun run =
        runProgram({toolProgram("keychain-contents"), "--module", VEL_FAULTY_MODULE}, {},
                   {"VEL_MODULE_FAULT=fail"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_TRUE(
        run.diagnostics.starts_with("keychain-contents: " VEL_FAULTY_MODULE ": C_Initialize: "))
        << run.diagnostics;
}

} // namespace
