// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxWorkingPlace.h"

#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Tests/Helpers/Linux/ToolRun.h"

#include "Tests/Support/Sanitized.h"
#include <barrier>
#include <fcntl.h>
#include <filesystem>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/resource.h>
#include <thread>

namespace {

namespace fs = std::filesystem;

/// Shell scripts in place of the two helpers.
class LinuxWorkingPlace : public testing::Test {
protected:
    std::optional<std::string> run(const std::string& script,
                                   std::shared_ptr<const VELWorkingPlace> place) const {
        std::optional<VELError> error;
        return runWithTimeout(platform.task("/bin/sh", {"-c", script}, std::move(place)), 10.0,
                              &error, platform);
    }

    VELLinuxPlatform platform;
};

const std::string readsAll = "exec 0</dev/fd/3; cat";

TEST_F(LinuxWorkingPlace, IsHandedFromOneToolToTheNext) {
    const auto place = platform.openWorkingPlace();
    EXPECT_EQ(run(readsAll, place), "");
    EXPECT_EQ(run("printf 'a\\0b' >&3", place), "");
    EXPECT_EQ(run(readsAll, place), std::string("a\0b", 3));
    EXPECT_EQ(run(readsAll, place), std::string("a\0b", 3)) << "as long as the place is there";
    EXPECT_EQ(run(readsAll, platform.openWorkingPlace()), "") << "another place";
}

TEST_F(LinuxWorkingPlace, IsTheOnlyDescriptorThatIsInherited) {
    const VELDescriptor inheritable(::open("/dev/null", O_RDONLY));
    const std::string lists = "for n in 0 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19; do "
                              "[ -e /proc/$$/fd/$n ] && printf '%s ' $n; done; true";
    EXPECT_EQ(run(lists, platform.openWorkingPlace()), "0 1 2 3 ");
    EXPECT_EQ(run(lists, nullptr), "0 1 2 ");
}

TEST_F(LinuxWorkingPlace, IsAboveTheStandardStreamsAndNotInheritedOtherwise) {
    const VELLinuxWorkingPlace place;
    EXPECT_GT(place.file().get(), 2);
    EXPECT_EQ(::fcntl(place.file().get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(LinuxWorkingPlace, LeavesNoFile) {
    const TestFolder folder;
    const auto place = platform.openWorkingPlace();
    EXPECT_EQ(run("cd " + folder.path() + "; echo a >&3; readlink /proc/$$/fd/3", place),
              "/memfd:vel-working-place (deleted)\n");
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(LinuxWorkingPlace, ThatCouldNotBeMadeIsALaunchFailure) {
    if (VEL_SANITIZED != 0) {
        GTEST_SKIP() << "a sanitizer needs descriptors itself";
    }
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit none = {3, limit.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const auto place = platform.openWorkingPlace();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_NE(place, nullptr);
    std::optional<VELError> error;
    EXPECT_EQ(runWithTimeout(platform.task("/bin/true", {}, place), 10.0, &error, platform),
              std::nullopt);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), 2);
    EXPECT_EQ(error->message(), "Error launching task /bin/true: Couldn't posix_spawn: error 9");
}

TEST_F(LinuxWorkingPlace, IsNotSeenByAnotherThread) {
    constexpr int threadCount = 4;
    std::barrier wroteAll(threadCount);
    std::vector<std::thread> threads;
    std::vector<std::optional<std::string>> found(threadCount);
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            const auto place = platform.openWorkingPlace();
            run("printf " + std::to_string(i) + " >&3", place);
            wroteAll.arrive_and_wait();
            found[static_cast<std::size_t>(i)] = run(readsAll, place);
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (int i = 0; i < threadCount; ++i) {
        EXPECT_EQ(found[static_cast<std::size_t>(i)], std::to_string(i));
    }
}

/// The two helpers themselves, through the platform, as a check runs them.
TEST(SigningThroughThePlatform, TellsThePublisherOfARunningProgram) {
    const TestFolder folder;
    const std::string program = folder.path() + "/agent";
    fs::copy_file("/bin/sleep", program);
    const auto made = runProgram(
        {"sh", "-e", "-c",
         "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout key -subj "
         "/CN=Agent/OU=TEAM42 -out certificate\n"
         "openssl cms -sign -binary -in agent -signer certificate -inkey key -outform DER -out "
         "agent.p7s"},
        folder.path());
    ASSERT_EQ(made.status, 0) << made.diagnostics;
    const RunningProgram running({program, "100"});
    const VELLinuxPlatform platform;
    std::optional<VELError> error;
    const auto place = platform.openWorkingPlace();
    const auto run = [&](const std::string& tool, std::vector<std::string> arguments) {
        return runWithTimeout(platform.task(tool, std::move(arguments), place), 10.0, &error,
                              platform);
    };
    const std::vector<std::string> subject = {"x509",      "-inform",  "DER",   "-in",
                                              "codesign0", "-subject", "-noout"};
    const std::string signers = fs::path(folder.write("signers/any", "")).parent_path();
    fs::permissions(signers, fs::perms(0755));
    fs::permissions(signers + "/any", fs::perms(0644));
    EXPECT_EQ(run("/usr/bin/codesign", {"--display", "--extract-certificates",
                                        std::to_string(running.processID()), "--signers", signers}),
              "");
    EXPECT_EQ(run("/usr/bin/openssl", subject), "subject=/CN=Agent/OU=TEAM42/\n");
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
