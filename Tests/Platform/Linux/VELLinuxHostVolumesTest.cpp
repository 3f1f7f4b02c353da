// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxDisks.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/TemporaryFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <ostream>
#include <set>
#include <sys/mount.h>
#include <unistd.h>

namespace {

/// Mounts an image made by a command over a loop device, for as long as it lives.
class LoopMount {
public:
    LoopMount(const std::string& makeImage, const std::string& options) {
        const std::string image = _folder.path() + "/image";
        _mountPoint = _folder.path() + "/my volume";
        std::filesystem::create_directory(_mountPoint);
        _made = askOracle("cd " + _folder.path() + " && (" + makeImage + ") >/dev/null 2>&1 && " +
                          "mount -o loop" + options + " " + image + " '" + _mountPoint +
                          "' 2>/dev/null")
                    .status == 0;
    }
    ~LoopMount() {
        if (_made) {
            ::umount2(_mountPoint.c_str(), MNT_DETACH);
        }
    }
    LoopMount(const LoopMount&) = delete;
    LoopMount& operator=(const LoopMount&) = delete;

    [[nodiscard]] bool made() const { return _made; }
    [[nodiscard]] const std::string& mountPoint() const { return _mountPoint; }

private:
    TemporaryFolder _folder;
    std::string _mountPoint;
    bool _made = false;
};

struct Volume {
    VELValue internal;
    VELValue protocol;
    VELValue kind;
    VELValue role;
    VELValue encrypted;

    friend bool operator==(const Volume&, const Volume&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const Volume& volume) {
        return stream << volume.internal << volume.protocol << volume.kind << volume.role
                      << volume.encrypted;
    }
};

/// What the machine itself says of what is mounted there; nulls where it has no disk.
Volume volumeAt(const std::string& mountPoint) {
    const VELLinuxDisks disks;
    const auto session = disks.createSession();
    const auto disk = session->diskAtMountPoint(mountPoint);
    if (disk == nullptr) {
        return {};
    }
    const VELDiskDescription description = disk->copyDescription().value();
    const auto media = disk->copyMedia();
    const auto valueOf = [](const auto& value) { return value ? VELValue(*value) : VELValue(); };
    return {valueOf(description.deviceInternal), valueOf(description.deviceProtocol),
            valueOf(description.volumeKind), valueOf(media->property("Role")),
            valueOf(media->property("Encrypted"))};
}

const VELValue data = VELValue::array({"Data"});

class LinuxHostVolumes : public testing::Test {
protected:
    void SetUp() override {
        if (askOracle("awk '$5 == \"/\"' /proc/self/mountinfo").output.empty()) {
            GTEST_SKIP() << "this process, changed to another root, sees no whole mount table";
        }
    }
};

TEST_F(LinuxHostVolumes, AnExt4ImageIsAVirtualDataVolume) {
    const LoopMount mount("truncate -s 8M image && mkfs.ext4 -q image", "");
    if (!mount.made()) {
        GTEST_SKIP() << "an ext4 image cannot be made or mounted here (needs root and mkfs.ext4)";
    }
    EXPECT_EQ(volumeAt(mount.mountPoint()),
              (Volume{false, "Virtual Interface", "ext4", data, false}));
}

TEST_F(LinuxHostVolumes, AnExt4ImageOnAReadOnlyDeviceHoldsNoData) {
    const LoopMount mount("truncate -s 8M image && mkfs.ext4 -q image", ",ro");
    if (!mount.made()) {
        GTEST_SKIP() << "an ext4 image cannot be made or mounted here (needs root and mkfs.ext4)";
    }
    EXPECT_EQ(volumeAt(mount.mountPoint()),
              (Volume{false, "Virtual Interface", "ext4", VELValue::array(), false}));
}

TEST_F(LinuxHostVolumes, ASquashfsImageHoldsNoData) {
    const LoopMount mount("mkdir d && echo x > d/x && mksquashfs d image", ",ro");
    if (!mount.made()) {
        GTEST_SKIP() << "a squashfs image cannot be made or mounted here (needs root, mksquashfs "
                        "and the kernel's squashfs)";
    }
    EXPECT_EQ(volumeAt(mount.mountPoint()),
              (Volume{false, "Virtual Interface", "squashfs", VELValue::array(), false}));
}

TEST_F(LinuxHostVolumes, ABtrfsSubvolumeIsFoundThroughItsFileSystem) {
    const LoopMount mount("truncate -s 128M image && mkfs.btrfs -q image && mkdir top && "
                          "mount -o loop image top && btrfs subvolume create top/sub && umount top",
                          ",subvol=sub");
    if (!mount.made()) {
        GTEST_SKIP() << "a btrfs image cannot be made or mounted here (needs root, mkfs.btrfs and "
                        "the kernel's btrfs)";
    }
    EXPECT_EQ(volumeAt(mount.mountPoint()),
              (Volume{false, "Virtual Interface", "btrfs", data, false}));
}

TEST_F(LinuxHostVolumes, ABtrfsIsNotTakenForOneThatCoversIt) {
    constexpr const char* makeImage = "truncate -s 128M image && mkfs.btrfs -q image";
    const LoopMount covered(makeImage, "");
    const LoopMount cover(makeImage, "");
    if (!covered.made() || !cover.made()) {
        GTEST_SKIP() << "a btrfs image cannot be made or mounted here (needs root, mkfs.btrfs and "
                        "the kernel's btrfs)";
    }
    const std::string& mountPoint = covered.mountPoint();
    ASSERT_EQ(::mount(cover.mountPoint().c_str(), mountPoint.c_str(), nullptr, MS_BIND, nullptr),
              0);
    EXPECT_EQ(volumeAt(mountPoint), (Volume{true, nullptr, "btrfs", data, nullptr}));
    ASSERT_EQ(::umount2(mountPoint.c_str(), MNT_DETACH), 0);
    EXPECT_EQ(volumeAt(mountPoint), (Volume{false, "Virtual Interface", "btrfs", data, false}));
}

TEST_F(LinuxHostVolumes, WhatIsNoBtrfsTellsNothingOfOne) {
    EXPECT_FALSE(vel::btrfsInformation("/proc", 0));
    EXPECT_FALSE(vel::btrfsInformation("/none", 0));
    EXPECT_FALSE(vel::btrfsInformation("", 0));
}

TEST_F(LinuxHostVolumes, UdevKnowsNothingOfADeviceThatIsNotThere) {
    EXPECT_EQ(vel::udevProperty(4095, 1048575, "ID_FS_TYPE"), std::nullopt);
}

/// Mount point to whether a "crypt" stands among the devices above it in lsblk's tree (its disks
/// are at the roots), for every way by which the tree gets there.
void collect(const nlohmann::json& devices, bool crypt,
             std::map<std::string, std::set<bool>>& found) {
    for (const auto& device : devices) {
        const bool below = crypt || device.at("type") == "crypt";
        for (const auto& mountPoint : device.at("mountpoints")) {
            if (mountPoint.is_string() && mountPoint.get<std::string>().starts_with('/')) {
                found[mountPoint.get<std::string>()].insert(below);
            }
        }
        if (device.contains("children")) {
            collect(device.at("children"), below, found);
        }
    }
}

/// What lsblk says; nothing where it cannot answer.
std::map<std::string, std::set<bool>> volumesOfLsblk() {
    const OracleAnswer answer = askOracle("lsblk --json -o NAME,TYPE,MOUNTPOINTS 2>/dev/null");
    std::map<std::string, std::set<bool>> found;
    if (answer.status == 0) {
        collect(nlohmann::json::parse(answer.output).at("blockdevices"), false, found);
    }
    return found;
}

TEST_F(LinuxHostVolumes, AgreeWithLsblkOnThisMachine) {
    const auto before = volumesOfLsblk();
    std::map<std::string, VELValue> ours;
    for (const auto& [mountPoint, ways] : before) {
        ours[mountPoint] = volumeAt(mountPoint).encrypted;
    }
    auto expected = volumesOfLsblk();
    // Others mount and unmount meanwhile: what was the same before and after is compared.
    std::erase_if(expected, [&before](const auto& volume) {
        const auto earlier = before.find(volume.first);
        return earlier == before.end() || *earlier != volume;
    });
    for (const auto& [mountPoint, ways] : expected) {
        const bool everyWayIsEncrypted = !ways.contains(false);
        EXPECT_EQ(ours.at(mountPoint), VELValue(everyWayIsEncrypted)) << mountPoint;
    }
    if (expected.empty()) {
        GTEST_SKIP() << "lsblk is not here or knows of no mounted block device";
    }
}

TEST_F(LinuxHostVolumes, TheMountTableIsThatOfTheMachine) {
    const auto table = VELLinuxDisks().mountTable();
    ASSERT_TRUE(table);
    EXPECT_TRUE(
        std::ranges::any_of(*table, [](const VELMount& mount) { return mount.mountPoint == "/"; }));
}

} // namespace
