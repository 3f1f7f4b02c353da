// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxMountInfo.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/Oracle.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using vel::mountsInMountInfo;
using Mounts = std::vector<VELLinuxMount>;

/// The one mount that a text lists.
VELLinuxMount mountIn(std::string_view text) {
    const auto mounts = mountsInMountInfo(text);
    EXPECT_TRUE(mounts) << text;
    EXPECT_EQ(mounts.value_or(Mounts()).size(), 1U) << text;
    return mounts && mounts->size() == 1 ? mounts->front() : VELLinuxMount{};
}

TEST(LinuxMountInfo, ALineIsAMount) {
    EXPECT_EQ(mountIn("36 35 98:12 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=x\n"),
              (VELLinuxMount{98, 12, "/mnt2", "ext3", false, 36, "/dev/root"}));
}

TEST(LinuxMountInfo, OptionalFieldsAreAnyNumber) {
    for (const char* optional : {"", "shared:2 ", "shared:2 master:1 ",
                                 "shared:2 master:1 propagate_from:3 unbindable "}) {
        EXPECT_EQ(mountIn("1 2 8:1 / /a rw " + std::string(optional) + "- ext4 /dev/sda1 rw\n"),
                  (VELLinuxMount{8, 1, "/a", "ext4", false, 1, "/dev/sda1"}));
    }
}

TEST(LinuxMountInfo, TheLastLineNeedsNoEnd) {
    EXPECT_EQ(mountIn("1 2 8:1 / /a rw - ext4 /dev/sda1 rw"),
              (VELLinuxMount{8, 1, "/a", "ext4", false, 1, "/dev/sda1"}));
}

TEST(LinuxMountInfo, AnEmptyTextListsNone) {
    EXPECT_EQ(mountsInMountInfo(""), Mounts());
}

TEST(LinuxMountInfo, KeepsTheOrder) {
    const Mounts expected = {{0, 22, "/proc", "proc", false, 2, "proc"},
                             {8, 1, "/", "ext4", false, 1, "d"}};
    EXPECT_EQ(mountsInMountInfo("2 1 0:22 / /proc rw - proc proc rw\n1 0 8:1 / / rw - ext4 d rw\n"),
              expected);
}

TEST(LinuxMountInfo, TheFileSystemIsReadOnlyNotTheMount) {
    EXPECT_FALSE(mountIn("1 2 8:1 / /a ro - ext4 /dev/sda1 rw,ro=x\n").readOnly);
    EXPECT_TRUE(mountIn("1 2 8:1 / /a rw - ext4 /dev/sda1 ro\n").readOnly);
    EXPECT_TRUE(mountIn("1 2 8:1 / /a rw - ext4 /dev/sda1 ro,data=ordered\n").readOnly);
    EXPECT_FALSE(mountIn("1 2 8:1 / /a rw - ext4 /dev/sda1 rom\n").readOnly);
}

TEST(LinuxMountInfo, EscapesAreUndone) {
    const auto mountPoint = [](const std::string& text) {
        return mountIn("1 2 8:1 / " + text + " rw - ext4 /dev/sda1 rw\n").mountPoint;
    };
    EXPECT_EQ(mountPoint("/with\\040space"), "/with space");
    EXPECT_EQ(mountPoint("/line\\012end\\011tab\\134back\\043hash"), "/line\nend\ttab\\back#hash");
    EXPECT_EQ(mountPoint("/\\134040"), "/\\040");
    EXPECT_EQ(mountPoint("/\\303\\274"), "/ü");
    EXPECT_EQ(mountPoint("/\xC3\xBC"), "/ü");
    EXPECT_EQ(mountPoint("/\\377"), "/\xFF");
    EXPECT_EQ(mountPoint("/gone//deleted"), "/gone//deleted");
}

TEST(LinuxMountInfo, WhatIsNoEscapeStands) {
    for (const std::string field :
         {"/\\", "/\\0", "/\\04", "/\\04/", "/\\089", "/\\189", "/\\400", "/\\000", "/\\x20"}) {
        EXPECT_EQ(mountIn("1 2 8:1 / " + field + " rw - ext4 /dev/sda1 rw\n").mountPoint, field);
    }
}

TEST(LinuxMountInfo, TypesAndSourcesAreUnescapedToo) {
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw - fuse.my\\040fs src rw\n").fileSystemType, "fuse.my fs");
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw - cifs //a/my\\040share rw\n").source, "//a/my share");
}

TEST(LinuxMountInfo, ASourceMayBeEmptyOrADash) {
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw -  tmpfs rw\n").fileSystemType, "");
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw - tmpfs  rw\n"),
              (VELLinuxMount{0, 40, "/a", "tmpfs", false, 1}));
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw - tmpfs - ro\n"),
              (VELLinuxMount{0, 40, "/a", "tmpfs", true, 1, "-"}));
}

TEST(LinuxMountInfo, OptionsOfAFileSystemMayHoldSpaces) {
    EXPECT_EQ(mountIn("1 2 0:40 / /a rw - odd src rw,name=a b - c\n"),
              (VELLinuxMount{0, 40, "/a", "odd", false, 1, "src"}));
}

TEST(LinuxMountInfo, NumbersAreOf32Bits) {
    EXPECT_EQ(mountIn("1 2 4294967295:4294967295 / /a rw - x x rw\n").minor, 4294967295U);
    EXPECT_EQ(mountsInMountInfo("1 2 4294967296:0 / /a rw - x x rw\n"), std::nullopt);
}

TEST(LinuxMountInfo, AnythingElseIsNoMountTable) {
    const char* const malformed[] = {
        "\n",
        "x\n",
        "1 2 8:1 / /a rw\n",
        "1 2 8:1 / /a rw ext4 /dev/sda1 rw\n",
        "1 2 8:1 / /a rw -\n",
        "1 2 8:1 / /a rw - ext4 /dev/sda1\n",
        "1 2 8 / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 8: / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 :1 / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 8:1:2 / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 -8:1 / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 8:1x / /a rw - ext4 /dev/sda1 rw\n",
        "1 2 8:1 / a rw - ext4 /dev/sda1 rw\n",
        "1 2 8:1 /  rw - ext4 /dev/sda1 rw\n",
        "1  2 8:1 / /a rw - ext4 /dev/sda1 rw\n",
        " 2 8:1 / /a rw - ext4 /dev/sda1 rw\n",
        "x 2 8:1 / /a rw - ext4 /dev/sda1 rw\n",
    };
    const std::string good = "1 0 8:1 / / rw - ext4 d rw\n";
    for (const std::string text : malformed) {
        EXPECT_EQ(mountsInMountInfo(text), std::nullopt) << text;
        EXPECT_EQ(mountsInMountInfo(good + text), std::nullopt) << text;
        EXPECT_EQ(mountsInMountInfo(text + good), std::nullopt) << text;
    }
}

TEST(LinuxMountInfo, ReadsThousandsOfLines) {
    std::string text;
    for (int index = 0; index < 20'000; ++index) {
        text += "1 2 8:1 / /m" + std::to_string(index) + " rw shared:1 - ext4 /dev/sda1 rw\n";
    }
    const auto mounts = mountsInMountInfo(text);
    ASSERT_TRUE(mounts);
    ASSERT_EQ(mounts->size(), 20'000U);
    EXPECT_EQ(mounts->back().mountPoint, "/m19999");
}

TEST(LinuxMountInfo, AgreesWithFindmntOnThisMachine) {
    const OracleAnswer answer =
        askOracle("findmnt --list --json -o TARGET,FSTYPE,MAJ:MIN 2>/dev/null");
    if (answer.status != 0) {
        GTEST_SKIP() << "findmnt is not here or cannot read the mount table";
    }
    const auto mounts = mountsInMountInfo(contentOf("/proc/self/mountinfo"));
    ASSERT_TRUE(mounts);
    std::vector<std::string> found;
    for (const VELLinuxMount& mount : *mounts) {
        found.push_back(mount.mountPoint + " " + mount.fileSystemType + " " +
                        std::to_string(mount.major) + ":" + std::to_string(mount.minor));
    }
    std::vector<std::string> expected;
    const auto listed = nlohmann::json::parse(answer.output);
    for (const auto& mount : listed.at("filesystems")) {
        expected.push_back(mount.at("target").get<std::string>() + " " +
                           mount.at("fstype").get<std::string>() + " " +
                           mount.at("maj:min").get<std::string>());
    }
    EXPECT_EQ(found, expected);
}

} // namespace
