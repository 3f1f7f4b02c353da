// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Tests/Helpers/Linux/ToolRun.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

const std::vector<std::pair<std::string, std::string>> standIns = {
    {"/usr/libexec/ApplicationFirewall/socketfilterfw", "firewall-state"},
    {"/usr/sbin/dsconfigad", "domain-binding"},
    {"/bin/ps", "process-listing"},
    {"/usr/bin/codesign", "code-signature"},
    {"/usr/bin/openssl", "certificate-subject"}};

TEST(LinuxToolPaths, AreThoseOfThisBuild) {
    const VELLinuxPlatform platform;
    for (const auto& [tool, name] : standIns) {
        const std::string path = platform.task(tool, {}, nullptr)->launchPath();
        EXPECT_EQ(path, fs::canonical(toolProgram(name)).string());
        EXPECT_EQ(runProgram({path, "--version"}), (ToolRun{0, name + " 1.0.0\n", ""}));
    }
    for (const char* other : {"/bin/true", "", "/bin/p"}) {
        EXPECT_EQ(platform.task(other, {}, nullptr)->launchPath(), other);
    }
}

class LinuxToolFolders : public testing::Test {
protected:
    /// Makes a folder with an executable file in place of each helper.
    [[nodiscard]] std::string make(const std::string& name,
                                   fs::perms mode = fs::perms(0755)) const {
        for (const auto& standIn : standIns) {
            fs::permissions(_folder.write(name + "/" + standIn.second, "x"), mode);
        }
        fs::permissions(_folder.path() + "/" + name, fs::perms(0755));
        return _folder.path() + "/" + name;
    }

    static std::string listing(const std::vector<std::string>& folders) {
        return vel::linuxToolPath("/bin/ps", folders);
    }

    TestFolder _folder;
};

TEST_F(LinuxToolFolders, TheFirstThatHoldsTheHelperCounts) {
    const std::string one = make("one");
    const std::string two = make("two");
    EXPECT_EQ(listing({one, two}), one + "/process-listing");
    EXPECT_EQ(listing({_folder.path() + "/none", two, one}), two + "/process-listing");
    fs::remove(one + "/process-listing");
    EXPECT_EQ(listing({one, two}), two + "/process-listing");
    EXPECT_EQ(listing({one, "/nowhere"}), "/nowhere/process-listing") << "where it should be";
    EXPECT_EQ(vel::linuxToolPath("/bin/true", {two}), "/bin/true");
}

TEST_F(LinuxToolFolders, WhatEverybodyMayWriteIsPassedOver) {
    const std::string good = make("good");
    const std::string open = make("open");
    fs::permissions(open, fs::perms(01777));
    EXPECT_EQ(listing({open, good}), good + "/process-listing");
    EXPECT_EQ(listing({make("loose", fs::perms(0757)), good}), good + "/process-listing");
    EXPECT_EQ(listing({make("dull", fs::perms(0644)), good}), good + "/process-listing");
    fs::create_directories(_folder.path() + "/folders/process-listing");
    EXPECT_EQ(listing({_folder.path() + "/folders", good}), good + "/process-listing");
}

TEST_F(LinuxToolFolders, ARelativeFolderIsPassedOver) {
    const std::string good = make("good");
    const fs::path relative = fs::relative(make("other"));
    ASSERT_TRUE(fs::exists(relative / "process-listing"));
    EXPECT_EQ(listing({relative.string(), ".", "", good}), good + "/process-listing");
}

TEST_F(LinuxToolFolders, EndWithTheConfiguredOne) {
    const auto folders = vel::linuxToolFolders();
    ASSERT_GE(folders.size(), 2U);
    EXPECT_TRUE(folders.back().starts_with('/'));
    EXPECT_TRUE(folders.back().ends_with("/libexec/vel_device_trust")) << folders.back();
    EXPECT_EQ(folders.front(),
              fs::canonical(toolProgram(".")).parent_path().string() + "/vel_device_trust");
}

TEST(LinuxToolFoldersProbe, DISABLED_PrintsOne) {
    std::cout << "[" << vel::linuxToolPath("/bin/ps") << "]\n";
}

/// This program in another place, with the helpers beside it, is an installation that was moved.
TEST_F(LinuxToolFolders, AreFoundBesideAProgramThatWasMoved) {
    const std::string helpers = make("moved/libexec/vel_device_trust");
    fs::create_directories(_folder.path() + "/moved/bin");
    const std::string program = _folder.path() + "/moved/bin/host";
    std::error_code otherDisk;
    fs::create_hard_link(fs::canonical("/proc/self/exe"), program, otherDisk);
    if (otherDisk) {
        fs::copy_file("/proc/self/exe", program);
    }
    const std::string filter = "--gtest_filter=LinuxToolFoldersProbe.*";
    const std::string expected = "[" + helpers + "/process-listing]";
    const auto absolute = runProgram({program, filter, "--gtest_also_run_disabled_tests"}, "/");
    EXPECT_NE(absolute.output.find(expected), std::string::npos) << absolute;
    const auto relative = runProgram({"./host", filter, "--gtest_also_run_disabled_tests"},
                                     _folder.path() + "/moved/bin");
    EXPECT_NE(relative.output.find(expected), std::string::npos) << relative;
}

} // namespace
