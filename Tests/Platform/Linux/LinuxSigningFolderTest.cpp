// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/Linux/VELLinuxSigningFolder.h"
#include "Tests/Helpers/Linux/ToolRun.h"

#include <algorithm>
#include <barrier>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using vel::SigningStep;

/// Shell scripts in place of the two helpers.
class SigningTasks : public testing::Test {
protected:
    [[nodiscard]] std::shared_ptr<VELTask> task(SigningStep step, const std::string& script) const {
        return vel::signingTask(step, "/bin/sh", {"-c", script}, {_places.path()});
    }
    std::optional<std::string> run(SigningStep step, const std::string& script) const {
        std::optional<VELError> error;
        return runWithTimeout(task(step, script), 10.0, &error, _platform);
    }
    [[nodiscard]] bool isNothingLeft() const { return fs::is_empty(_places.path()); }

    TestFolder _places;
    VELLinuxPlatform _platform;
};

const std::string readsFirst = "cat codesign0";

TEST_F(SigningTasks, HandTheFirstCertificateOnOnce) {
    EXPECT_EQ(run(SigningStep::signature,
                  "printf 'a\\0b' > codesign0; echo other > codesign1; echo said"),
              "said\n");
    EXPECT_TRUE(isNothingLeft());
    EXPECT_EQ(run(SigningStep::subject, "ls; cat codesign0"), std::string("codesign0\na\0b", 13));
    EXPECT_TRUE(isNothingLeft());
    EXPECT_FALSE(run(SigningStep::subject, readsFirst)) << "it was handed on already";
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(SigningTasks, RunInAPrivateFolderOfTheirOwn) {
    const std::string here = fs::current_path();
    const auto folder = run(SigningStep::signature, "pwd; stat -c %a .");
    ASSERT_TRUE(folder);
    const fs::path path = folder->substr(0, folder->find('\n'));
    EXPECT_EQ(path.parent_path(), fs::canonical(_places.path()));
    EXPECT_EQ(folder->substr(folder->find('\n')), "\n700\n");
    EXPECT_NE(run(SigningStep::subject, "pwd"), run(SigningStep::subject, "pwd"));
    EXPECT_EQ(fs::current_path(), here);
    EXPECT_FALSE(fs::exists("codesign0"));
}

TEST_F(SigningTasks, AFailedSignatureHandsNothingOn) {
    run(SigningStep::signature, "echo a > codesign0");
    EXPECT_FALSE(run(SigningStep::signature, "echo b > codesign0; exit 1"));
    EXPECT_FALSE(run(SigningStep::subject, readsFirst));
    run(SigningStep::signature, "echo a > codesign0");
    run(SigningStep::signature, "true");
    EXPECT_FALSE(run(SigningStep::subject, readsFirst)) << "a signature without a certificate";
    run(SigningStep::signature, "echo a > codesign0; kill -9 $$");
    EXPECT_FALSE(run(SigningStep::subject, readsFirst));
    EXPECT_TRUE(isNothingLeft());
}

TEST_F(SigningTasks, LeaveNothingWhenTheyAreNotRun) {
    {
        const auto unused = task(SigningStep::signature, "true");
        EXPECT_FALSE(isNothingLeft());
    }
    EXPECT_TRUE(isNothingLeft());
    run(SigningStep::signature, "echo a > codesign0");
    EXPECT_TRUE(isNothingLeft()) << "although no subject is asked for";
    const auto held = task(SigningStep::subject, "true");
    held->close();
    EXPECT_TRUE(isNothingLeft()) << "although the task is still held";
}

TEST_F(SigningTasks, DoNotLaunchWithoutAPlace) {
    for (const SigningStep step : {SigningStep::signature, SigningStep::subject}) {
        std::optional<VELError> error;
        const auto made = vel::signingTask(step, "/bin/true", {}, {"/nonexistent"});
        EXPECT_EQ(runWithTimeout(made, 10.0, &error, _platform), std::nullopt);
        ASSERT_TRUE(error);
        EXPECT_EQ(error->code(), 2);
        EXPECT_EQ(error->userInfo().begin().value(),
                  "Error launching task /bin/true: Couldn't make a private folder");
    }
}

TEST_F(SigningTasks, TakeTheFirstPlaceThatWorks) {
    const auto folder = vel::PrivateFolder::make({"/nonexistent", _places.path(), "/tmp"});
    ASSERT_TRUE(folder);
    EXPECT_EQ(fs::path(folder->path()).parent_path(), _places.path());
    EXPECT_EQ(
        vel::privateFolderPlaces(),
        (std::vector<std::string>{"/run/user/" + std::to_string(::geteuid()), "/tmp", "/var/tmp"}));
}

TEST_F(SigningTasks, ThreadsDoNotSeeEachOthers) {
    constexpr int threadCount = 4;
    std::barrier signedAll(threadCount);
    std::vector<std::thread> threads;
    std::vector<std::optional<std::string>> found(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            run(SigningStep::signature, "printf " + std::to_string(i) + " > codesign0");
            signedAll.arrive_and_wait();
            found[static_cast<std::size_t>(i)] = run(SigningStep::subject, readsFirst);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < threadCount; ++i) {
        EXPECT_EQ(found[static_cast<std::size_t>(i)], std::to_string(i));
    }
    EXPECT_EQ(run(SigningStep::subject, readsFirst), std::nullopt) << "nor does this one";
    EXPECT_TRUE(isNothingLeft());
}

/// The two helpers themselves, through the platform, as a check runs them.
TEST(SigningThroughThePlatform, TellsThePublisherOfARunningProgram) {
    const TestFolder folder;
    const std::string program = folder.path() + "/agent";
    fs::copy_file("/bin/sleep", program);
    const auto made = runProgram(
        {"sh", "-e", "-c",
         "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key -subj "
         "/CN=Agent/OU=TEAM42/O=Sample -out certificate\n"
         "openssl cms -sign -binary -in agent -signer certificate -inkey key -outform DER -out "
         "agent.p7s"},
        folder.path());
    ASSERT_EQ(made.status, 0) << made.diagnostics;
    const RunningProgram running({program, "100"});
    const VELLinuxPlatform platform;
    std::optional<VELError> error;
    const auto run = [&](const std::string& tool, std::vector<std::string> arguments) {
        return runWithTimeout(platform.task(platform.toolPath(tool), std::move(arguments)), 10.0,
                              &error, platform);
    };
    const std::vector<std::string> subject = {"x509",      "-inform",  "DER",   "-in",
                                              "codesign0", "-subject", "-noout"};
    EXPECT_EQ(run("/usr/bin/codesign",
                  {"--display", "--extract-certificates", std::to_string(running.processID())}),
              "");
    EXPECT_EQ(run("/usr/bin/openssl", subject), "subject=/CN=Agent/OU=TEAM42/O=Sample\n");
    EXPECT_FALSE(error);
    EXPECT_FALSE(run("/usr/bin/codesign", {"--display", "--extract-certificates", "0"}));
    EXPECT_TRUE(error);
    error.reset();
    EXPECT_FALSE(run("/usr/bin/openssl", subject)) << "no certificate of the run before";
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 3);
    EXPECT_FALSE(fs::exists("codesign0"));
}

} // namespace
