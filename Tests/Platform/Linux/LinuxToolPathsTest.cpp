// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxKeychain.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Tests/Helpers/Linux/ToolRun.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
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

TEST_F(LinuxToolFolders, NoOtherIsTriedThoughTheHelperMayNotBeRun) {
    const std::string good = make("good");
    const std::string open = make("open", fs::perms(0757));
    EXPECT_EQ(listing({open, good}), open + "/process-listing");
    EXPECT_EQ(vel::linuxToolObjection(open + "/process-listing"),
              "helper not trusted: \"" + open + "/process-listing\" may be written by everybody");
    EXPECT_EQ(listing({make("dull", fs::perms(0644)), good}),
              _folder.path() + "/dull/process-listing");
    EXPECT_EQ(vel::linuxToolObjection("/nowhere/process-listing"), "launch path not accessible");
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
    EXPECT_EQ(fs::canonical(folders.front()), fs::canonical(toolProgram(".")));
}

TEST_F(LinuxToolFolders, LinksOnTheWayAreResolved) {
    const std::string good = make("good");
    _folder.link("linked", good);
    EXPECT_EQ(listing({_folder.path() + "/linked"}), fs::canonical(good) / "process-listing");
    EXPECT_EQ(listing({good + "/../linked/../good"}), fs::canonical(good) / "process-listing");
    EXPECT_EQ(vel::linuxToolPath("/bin/ps", {_folder.path() + "/none", good + "/../none"}),
              good + "/../none/process-listing");
}

/// Prints which helper would be run, and why it is not; on standard error, the environment that the
/// keychain's helper gets.
TEST(LinuxToolFoldersProbe, DISABLED_PrintsOne) {
    const auto task = VELLinuxPlatform().task("/bin/ps", {"-axc"}, nullptr);
    std::cout << "[" << task->launchPath() << "][";
    try {
        task->launch();
        task->waitUntilExit();
    } catch (const VELTaskLaunchFailure& failure) {
        std::cout << failure.what();
    }
    std::cout << "]\n";
    static_cast<void>(
        VELLinuxKeychain({.path = "/usr/bin/env", .arguments = {"sh", "-c", "env >&2"}})
            .certificates(1));
}

/// A tree of folders in which this program, as a host, and helpers have their places.
class LinuxToolTree : public LinuxToolFolders {
protected:
    void SetUp() override {
        fs::permissions(_folder.path(), fs::perms(0755));
        _place = fs::canonical(_folder.path());
    }

    /// What the host at `host` has against the helper at `helper`, both paths in the tree.
    [[nodiscard]] std::string objection(const std::string& host, const std::string& helper,
                                        uid_t user = 0) const {
        return vel::linuxToolObjection(_place + "/" + helper, {_place + "/" + host, user});
    }

    [[nodiscard]] std::string says(const std::string& entry, const std::string& problem) const {
        return "helper not trusted: \"" + _place + "/" + entry + "\" " + problem;
    }

    void own(const std::string& name, uid_t user, gid_t group) const {
        ASSERT_EQ(::lchown((_place + "/" + name).c_str(), user, group), 0);
    }

    void allow(const std::string& name, unsigned mode) const {
        fs::permissions(_place + "/" + name, fs::perms(mode));
    }

    /// Copies this program (or links it) to a place in the tree.
    [[nodiscard]] std::string installHost(const std::string& name, bool copy = false) const {
        const std::string program = _place + "/" + name;
        fs::create_directories(fs::path(program).parent_path());
        std::error_code otherDisk;
        if (!copy) {
            fs::create_hard_link(fs::canonical("/proc/self/exe"), program, otherDisk);
        }
        if (copy || otherDisk) {
            fs::copy_file("/proc/self/exe", program);
        }
        return program;
    }

    static ToolRun run(const std::string& program, const std::string& folder = "/") {
        return runProgram(
            {program, "--gtest_filter=LinuxToolFoldersProbe.*", "--gtest_also_run_disabled_tests"},
            folder, {"SOFTHSM2_CONF=/caller"});
    }
    static std::string probe(const std::string& program, const std::string& folder = "/") {
        return run(program, folder).output;
    }

    std::string _place;
};

/// This program in another place, with the helpers beside it, is an installation that was moved.
TEST_F(LinuxToolTree, HelpersAreFoundBesideAProgramThatWasMoved) {
    const std::string helpers = make("moved/libexec/vel_device_trust");
    _folder.write("moved/libexec/vel_device_trust/process-listing", "#!/bin/sh\n");
    const std::string program = installHost("moved/bin/host");
    const std::string expected = "[" + helpers + "/process-listing][]";
    const auto absolute = probe(program);
    EXPECT_NE(absolute.find(expected), std::string::npos) << absolute;
    const auto relative = probe("./host", _place + "/moved/bin");
    EXPECT_NE(relative.find(expected), std::string::npos) << relative;
}

class LinuxToolTreeOfRoot : public LinuxToolTree {
protected:
    void SetUp() override {
        LinuxToolTree::SetUp();
        if (::geteuid() != 0) {
            GTEST_SKIP() << "needs root to give files away";
        }
    }

    static constexpr uid_t somebody = 4711;
    static constexpr gid_t someGroup = 4712;
};

/// The tree is the folder for everybody's temporary files, the host is root's, and the folder that
/// it would look into next is somebody's.
TEST_F(LinuxToolTreeOfRoot, WhatSomebodyPutBesideTheProgramIsNotRun) {
    const std::string helpers = make("libexec/vel_device_trust");
    const std::string program = installHost("app/../bin/host");
    allow("", 01777);
    own("libexec", somebody, someGroup);
    const std::string objected = says("libexec", "belongs to user 4711");
    EXPECT_EQ(objection("bin/host", "libexec/vel_device_trust/process-listing"), objected);
    const std::string output = probe(program);
    EXPECT_NE(output.find("[" + helpers + "/process-listing][" + objected + "]"), std::string::npos)
        << output;
    own("libexec", 0, 0);
    EXPECT_EQ(objection("bin/host", "libexec/vel_device_trust/process-listing"), "");
    own("libexec/vel_device_trust/process-listing", somebody, 0);
    EXPECT_EQ(objection("bin/host", "libexec/vel_device_trust/process-listing"),
              says("libexec/vel_device_trust/process-listing", "belongs to user 4711"));
    EXPECT_EQ(objection("bin/host", "libexec/vel_device_trust/process-listing", somebody), "")
        << "it is the user's own";
}

TEST_F(LinuxToolTreeOfRoot, EveryEntryBelowTheFolderInCommonIsLookedAt) {
    static_cast<void>(make("app/libexec/vel_device_trust"));
    _folder.write("app/lib/library", "x");
    const std::string helper = "app/libexec/vel_device_trust/process-listing";
    EXPECT_EQ(objection("app/lib/library", helper), "");
    for (const std::string entry : {"app/libexec", "app/libexec/vel_device_trust"}) {
        allow(entry, 0757);
        EXPECT_EQ(objection("app/lib/library", helper), says(entry, "may be written by everybody"));
        allow(entry, 01777);
        EXPECT_EQ(objection("app/lib/library", helper), "") << "what is below belongs to root";
        allow(entry, 0775);
        own(entry, 0, someGroup);
        EXPECT_EQ(objection("app/lib/library", helper),
                  says(entry, "may be written by group 4712"));
        EXPECT_EQ(objection("app/lib/library", helper, somebody), "") << "who is not root";
        own(entry, 0, 0);
        EXPECT_EQ(objection("app/lib/library", helper), "") << "the group of root";
        allow(entry, 0755);
    }
    own("app", somebody, someGroup);
    allow("app", 0777);
    EXPECT_EQ(objection("app/lib/library", helper), "") << "there the library can be changed too";
    EXPECT_EQ(vel::linuxToolObjection(_place + "/" + helper, {"", 0}),
              says("app", "belongs to user 4711"))
        << "without a library to compare with, all is looked at";
}

TEST_F(LinuxToolTreeOfRoot, AUsersCheckoutServesRoot) {
    // Cloned with umask 002, built by root.
    static_cast<void>(make("clone/build/libexec/vel_device_trust"));
    _folder.write("clone/build/bin/host", "x");
    const std::string helper = "clone/build/libexec/vel_device_trust/process-listing";
    allow("", 01777);
    for (const char* entry : {"clone", "clone/build", "clone/build/bin", "clone/build/libexec",
                              "clone/build/libexec/vel_device_trust"}) {
        own(entry, somebody, someGroup);
        allow(entry, 0775);
    }
    EXPECT_EQ(objection("clone/build/bin/host", helper), "");
    allow("clone/build/libexec/vel_device_trust", 0777);
    EXPECT_EQ(objection("clone/build/bin/host", helper),
              says("clone/build/libexec/vel_device_trust", "may be written by everybody"));
}

TEST_F(LinuxToolTreeOfRoot, AStoreOfPackagesServesEverybody) {
    static_cast<void>(make("store/helpers/libexec/vel_device_trust"));
    _folder.write("store/library/lib/library", "x");
    own("store", 0, someGroup);
    allow("store", 01775);
    for (const char* entry : {"store/helpers", "store/helpers/libexec", "store/library/lib"}) {
        allow(entry, 0555);
    }
    const std::string helper = "store/helpers/libexec/vel_device_trust/process-listing";
    EXPECT_EQ(objection("store/library/lib/library", helper), "");
    // A profile links to the store.
    _folder.link("profile/process-listing", _place + "/" + helper);
    EXPECT_EQ(objection("store/library/lib/library", "profile/process-listing"), "");
    own("profile/process-listing", somebody, someGroup);
    EXPECT_EQ(objection("store/library/lib/library", "profile/process-listing"),
              says("profile/process-listing", "belongs to user 4711"));
    own("profile/process-listing", 0, 0);
    own("store/helpers/libexec", somebody, someGroup);
    EXPECT_EQ(objection("store/library/lib/library", "profile/process-listing"),
              says("store/helpers/libexec", "belongs to user 4711"));
}

TEST_F(LinuxToolTreeOfRoot, AHostWithRaisedRightsUsesTheInstalledFolderAlone) {
    static_cast<void>(make("moved/libexec/vel_device_trust"));
    struct statvfs system {};
    ASSERT_EQ(::statvfs(_place.c_str(), &system), 0);
    if ((system.f_flag & ST_NOSUID) != 0) {
        GTEST_SKIP() << "no program can be set-user-ID in " << _place;
    }
    const std::string program = installHost("moved/bin/host", true);
    ASSERT_EQ(::chmod(program.c_str(), 04755), 0);
    const std::string output = askedWithoutPrivileges([&] { return probe(program); });
    const std::string installed = vel::linuxToolFolders().back() + "/process-listing";
    EXPECT_NE(output.find("[" + installed + "]["), std::string::npos) << output;
    const auto errors = [&] { return run(program).diagnostics; };
    const std::string environment = askedWithoutPrivileges(errors);
    EXPECT_NE(environment.find("LC_ALL=C\n"), std::string::npos) << environment;
    EXPECT_EQ(environment.find("SOFTHSM2_CONF"), std::string::npos) << environment;
    ASSERT_EQ(::chmod(program.c_str(), 0755), 0);
    EXPECT_NE(askedWithoutPrivileges(errors).find("SOFTHSM2_CONF=/caller\n"), std::string::npos);
}

} // namespace
