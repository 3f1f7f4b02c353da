// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxDisks.h"
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"
#include "Platform/Linux/VELLinuxBlockDevices.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Tests/Support/MadeMachine.h"

#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>

namespace {

constexpr const char* sata = "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";
constexpr const char* secondSATA =
    "pci0000:00/0000:00:1f.2/ata2/host1/target1:0:0/1:0:0:0/block/sdb";
constexpr const char* usb =
    "pci0000:00/0000:00:14.0/usb2/2-1/2-1:1.0/host6/target6:0:0/6:0:0:0/block/sdc";
constexpr const char* luks = "CRYPT-LUKS2-0123456789abcdef0123456789abcdef-root";
constexpr const char* lvm = "LVM-0123456789abcdefABCDEF0123456789abcdef0123456789abcdefABCDEF01";

std::string inBlock(const std::string& name) {
    return "virtual/block/" + name;
}

std::string partitionOf(const std::string& disk, const std::string& number) {
    return disk + "/" + disk.substr(disk.rfind('/') + 1) + number;
}

class LinuxDisks : public ::testing::Test {
protected:
    LinuxDisks() {
        machine.disk("8:0", sata);
        machine.partition("8:1", sata, "sda1");
        machine.partition("8:2", sata, "sda2");
        machine.disk("8:16", secondSATA);
        machine.partition("8:17", secondSATA, "sdb1");
        machine.mount("0:22", "/proc", "proc");
    }

    VELLinuxDisks disks() {
        return VELLinuxDisks({
            .root = machine.root(),
            .btrfsInformation =
                [this](const std::string& mountPoint, unsigned mountID) {
                    btrfsQuestions.push_back(mountPoint);
                    const auto found = btrfs.find(mountPoint);
                    return found == btrfs.end() || covered.contains(mountID)
                               ? std::nullopt
                               : std::optional(found->second);
                },
            .udevProperty =
                [this](unsigned major, unsigned minor, const std::string& name) {
                    const auto found =
                        udev.find(std::to_string(major) + ":" + std::to_string(minor) + " " + name);
                    return found == udev.end() ? std::nullopt : std::optional(found->second);
                },
        });
    }

    /// All that the disk mounted at a path says, in one line, or "no disk".
    std::string at(const std::string& mountPoint) {
        const VELLinuxDisks arbitration = disks();
        const auto session = arbitration.createSession();
        const auto disk = session->diskAtMountPoint(mountPoint);
        if (disk == nullptr) {
            return "no disk";
        }
        const VELDiskDescription description = disk->copyDescription().value();
        std::string text = *description.deviceInternal == true ? "internal" : "external";
        text += description.deviceProtocol ? " " + description.deviceProtocol->get<std::string>()
                                           : std::string();
        text += " " + description.volumeKind->get<std::string>();
        const auto media = disk->copyMedia();
        const auto encrypted = media->property("Encrypted");
        text += !encrypted ? " unknown" : *encrypted == true ? " encrypted" : " plain";
        const auto sealed = media->property("Sealed");
        text += sealed && *sealed == "Yes" ? " sealed" : "";
        EXPECT_EQ(sealed.has_value(), encrypted.has_value());
        EXPECT_EQ(media->property("CoreStorage Encrypted"), std::nullopt);
        EXPECT_EQ(media->property("Size"), std::nullopt);
        const VELValue role = media->property("Role").value();
        return text + (role.empty() ? "" : " " + role.dump());
    }

    /// Mounts the device with this number as the machine's one volume, and tells of it.
    std::string mounted(std::string_view number, std::string_view type = "ext4") {
        machine.mount(number, "/", type);
        return at("/");
    }

    /// What the disk at this path in the tree of devices says, mounted whole.
    std::string diskAt(const std::string& path, bool removable = false) {
        machine.disk("259:7", path, removable);
        return mounted("259:7");
    }

    MadeMachine machine;
    std::map<std::string, vel::VELBtrfsInformation> btrfs;
    std::set<unsigned> covered; // mounts that do not show at their mount points
    std::map<std::string, std::string> udev;
    std::vector<std::string> btrfsQuestions;
};

TEST_F(LinuxDisks, APlainPartitionIsPlain) {
    EXPECT_EQ(mounted("8:1"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, LUKSOnAPartition) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    EXPECT_EQ(mounted("254:0"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, APartitionOfAnEncryptedDevice) {
    machine.stacked("254:0", "dm-0", luks, {sata});
    machine.partition("259:0", inBlock("dm-0"), "dm-0p1");
    EXPECT_EQ(mounted("259:0"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, LVMOnLUKS) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.stacked("254:1", "dm-1", lvm, {inBlock("dm-0")});
    EXPECT_EQ(mounted("254:1", "xfs"), R"(internal SATA xfs encrypted ["Data"])");
}

TEST_F(LinuxDisks, LUKSOnLVM) {
    machine.stacked("254:0", "dm-0", lvm, {partitionOf(sata, "2"), partitionOf(secondSATA, "1")});
    machine.stacked("254:1", "dm-1", luks, {inBlock("dm-0")});
    EXPECT_EQ(mounted("254:1"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, PlainLVM) {
    machine.stacked("254:0", "dm-0", lvm, {partitionOf(sata, "2")});
    EXPECT_EQ(mounted("254:0"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, LUKSOnMD) {
    machine.stacked("9:0", "md0", "", {partitionOf(sata, "2"), partitionOf(secondSATA, "1")});
    machine.stacked("254:0", "dm-0", luks, {inBlock("md0")});
    EXPECT_EQ(mounted("254:0"), R"(internal SATA ext4 encrypted ["Data"])");
    EXPECT_EQ(at("/"), at("/"));
    machine.mount("9:0", "/plain", "ext4");
    EXPECT_EQ(at("/plain"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AVolumeOverAnEncryptedAndAPlainDiskIsNotEncrypted) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.stacked("254:1", "dm-1", lvm, {inBlock("dm-0"), partitionOf(secondSATA, "1")});
    EXPECT_EQ(mounted("254:1"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AVolumeOverTwoEncryptedDisksIsEncrypted) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.stacked("254:1", "dm-1", "CRYPT-PLAIN-x", {partitionOf(secondSATA, "1")});
    machine.stacked("254:2", "dm-2", lvm, {inBlock("dm-0"), inBlock("dm-1")});
    EXPECT_EQ(mounted("254:2"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, EachMappingThatEncryptsAndNoOther) {
    for (const char* uuid :
         {"CRYPT-LUKS1-a-b", "CRYPT-LUKS2-a-b", "CRYPT-PLAIN-b", "CRYPT-BITLK-a-b",
          "CRYPT-TCRYPT-a", "CRYPT-FVAULT2-a-b", "CRYPT-LOOPAES-a"}) {
        EXPECT_TRUE(vel::isEncryptingMapping(uuid)) << uuid;
    }
    for (const char* uuid :
         {"", "CRYPT-", "CRYPT-VERITY-a-b", "CRYPT-INTEGRITY-a", "CRYPT-TEMP-a", "crypt-luks2-a",
          "LVM-CRYPT-LUKS2-", "mpath-a", "CRYPT-PLAIN", "CRYPT-SUBDEV-LUKS2-a"}) {
        EXPECT_FALSE(vel::isEncryptingMapping(uuid)) << uuid;
    }
    EXPECT_TRUE(vel::isVerityMapping("CRYPT-VERITY-a-b"));
    EXPECT_FALSE(vel::isVerityMapping("CRYPT-VERIT"));
    EXPECT_FALSE(vel::isVerityMapping("CRYPT-INTEGRITY-a"));
}

TEST_F(LinuxDisks, IntegrityIsNotEncryption) {
    machine.stacked("254:0", "dm-0", "CRYPT-INTEGRITY-x", {partitionOf(sata, "2")});
    EXPECT_EQ(mounted("254:0"), R"(internal SATA ext4 plain ["Data"])");
    machine.stacked("254:1", "dm-1", luks, {inBlock("dm-0")});
    machine.mount("254:1", "/b", "ext4");
    EXPECT_EQ(at("/b"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, VeritySealsAndIsNotEncryption) {
    machine.stacked("254:0", "dm-0", "CRYPT-VERITY-x-usr",
                    {partitionOf(sata, "1"), partitionOf(sata, "2")});
    machine.attribute(inBlock("dm-0"), "ro", "1");
    EXPECT_EQ(mounted("254:0"), "internal SATA ext4 plain sealed");
    machine.stacked("254:1", "dm-1", lvm, {inBlock("dm-0"), partitionOf(secondSATA, "1")});
    machine.mount("254:1", "/half", "ext4");
    EXPECT_EQ(at("/half"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AUSBStick) {
    EXPECT_EQ(diskAt(usb, true), R"(external USB ext4 plain ["Data"])");
    machine.stacked("254:0", "dm-0", luks, {usb});
    machine.mount("254:0", "/stick", "ext4");
    EXPECT_EQ(at("/stick"), R"(external USB ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, AnNVMeDisk) {
    const std::string controller = "pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme0";
    machine.attribute(controller, "transport", "pcie");
    machine.disk("259:0", controller + "/nvme0n1");
    machine.link(controller + "/nvme0n1/device", controller);
    machine.partition("259:1", controller + "/nvme0n1", "nvme0n1p1");
    EXPECT_EQ(mounted("259:1"), R"(internal PCI ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AnNVMeDiskWithASharedNamespace) {
    const std::string controller = "pci0000:00/0000:00:1d.0/0000:03:00.0/nvme/nvme0";
    const std::string subsystem = "virtual/nvme-subsystem/nvme-subsys0";
    machine.attribute(controller, "transport", "pcie");
    machine.disk("259:0", subsystem + "/nvme0n1");
    machine.link(subsystem + "/nvme0", controller);
    machine.link(subsystem + "/nvme0n1/device", subsystem);
    EXPECT_EQ(mounted("259:0"), R"(internal PCI ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AnNVMeDiskOverAFabric) {
    struct Fabric {
        std::vector<std::string> transports;
        VELLinuxBus bus;
    };
    const Fabric fabrics[] = {
        {{"tcp"}, {false, "TCP"}},
        {{"tcp", "tcp"}, {false, "TCP"}},
        {{"fc"}, {false, "Fibre Channel Interface"}},
        {{"tcp", "pcie"}, {true, "PCI"}},
        {{"pcie"}, {true, "PCI"}},
        {{"tcp", "fc"}, {true, std::nullopt}},
        {{"rdma"}, {true, std::nullopt}},
        {{""}, {true, std::nullopt}},
        {{}, {true, std::nullopt}},
    };
    for (const auto& [transports, bus] : fabrics) {
        EXPECT_EQ(vel::busOfDisk({"virtual/nvme-fabrics/ctl/nvme0/nvme0n1", "0", "", transports}),
                  bus);
    }
}

TEST_F(LinuxDisks, AMultipathDisk) {
    machine.stacked("254:0", "dm-0", "mpath-3600508b400105e210000900000490000", {sata, secondSATA});
    machine.stacked("254:1", "dm-1", "part1-mpath-3600508b400105e210000900000490000",
                    {inBlock("dm-0")});
    machine.stacked("254:2", "dm-2", luks, {inBlock("dm-1")});
    EXPECT_EQ(mounted("254:1"), R"(internal SATA ext4 plain ["Data"])");
    machine.mount("254:2", "/safe", "ext4");
    EXPECT_EQ(at("/safe"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, MemoryCards) {
    const std::string host = "pci0000:00/0000:00:1a.0/mmc_host/mmc0/mmc0:0001";
    machine.disk("179:0", host + "/block/mmcblk0");
    machine.attribute(host, "type", "SD");
    machine.link(host + "/block/mmcblk0/device", host);
    machine.partition("179:1", host + "/block/mmcblk0", "mmcblk0p1");
    EXPECT_EQ(mounted("179:1"), R"(external Secure Digital ext4 plain ["Data"])");
    machine.attribute(host, "type", "MMC");
    EXPECT_EQ(at("/"), R"(internal MMC ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AVirtualDisk) {
    EXPECT_EQ(diskAt("pci0000:00/0000:00:04.0/virtio1/block/vda"),
              R"(internal Virtual ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, ADiskWhoseMediumCanBeTakenOutIsExternal) {
    EXPECT_EQ(diskAt("pci0000:00/0000:00:1f.2/ata3/host2/target2:0:0/2:0:0:0/block/sr0", true),
              R"(external SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, ADiskThatDoesNotTellIsFixed) {
    const std::string disk = "pci0000:00/0000:00:1f.2/ata9/host9/target9:0:0/block/sdz";
    machine.disk("259:7", disk);
    std::filesystem::remove(machine.root() + "/sys/devices/" + disk + "/removable");
    EXPECT_EQ(mounted("259:7"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, ABusThatIsNotKnownIsInternal) {
    EXPECT_EQ(diskAt("pci0000:00/0000:01:00.0/host0/port-0:0/end_device-0:0/block/sdq"),
              R"(internal ext4 plain ["Data"])");
    for (const char* path : {"vmbus/host0/sda", "virtual/block/md0", "platform/usb/sda", "ata/sda",
                             "virtual/block/loop", "x/ausb1/sda", "x/usb1x/sda", ""}) {
        EXPECT_EQ(vel::busOfDisk({path, "0", "", {}}), VELLinuxBus{}) << path;
    }
}

TEST_F(LinuxDisks, DevicesMadeOfFilesAndMemoryAreVirtualInterfaces) {
    for (const char* name : {"loop0", "loop123", "zram0", "nbd7"}) {
        EXPECT_EQ(vel::busOfDisk({inBlock(name), "0", "", {}}),
                  (VELLinuxBus{false, "Virtual Interface"}))
            << name;
    }
    EXPECT_EQ(diskAt(inBlock("loop0")), R"(external Virtual Interface ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, OneInternalDiskBelowMakesAVolumeInternal) {
    machine.disk("8:32", usb, true);
    machine.stacked("254:0", "dm-0", lvm, {usb, partitionOf(sata, "1")});
    EXPECT_EQ(mounted("254:0"), R"(internal SATA ext4 plain ["Data"])");
    machine.disk("7:0", inBlock("loop0"));
    machine.stacked("254:1", "dm-1", lvm, {usb, inBlock("loop0")});
    machine.mount("254:1", "/out", "ext4");
    EXPECT_EQ(at("/out"), R"(external Virtual Interface ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, ALoopOfDevicesEndsAndIsNotEncrypted) {
    machine.stacked("254:0", "dm-0", lvm, {});
    machine.stacked("254:1", "dm-1", lvm, {inBlock("dm-0")});
    machine.link(inBlock("dm-0") + "/slaves/dm-1", inBlock("dm-1"));
    EXPECT_EQ(mounted("254:0"), R"(internal ext4 plain ["Data"])");
    machine.stacked("254:2", "dm-2", luks, {inBlock("dm-0")});
    machine.mount("254:2", "/b", "ext4");
    EXPECT_EQ(at("/b"), R"(internal ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, AStackWithoutEndIsNotFollowed) {
    machine.stacked("253:0", "dm-0", luks, {sata});
    for (int level = 1; level <= 80; ++level) {
        machine.stacked("253:" + std::to_string(level), "dm-" + std::to_string(level), lvm,
                        {inBlock("dm-" + std::to_string(level - 1))});
    }
    EXPECT_EQ(mounted("253:60"), R"(internal SATA ext4 encrypted ["Data"])");
    machine.mount("253:80", "/deep", "ext4");
    EXPECT_EQ(at("/deep"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, ManyWaysDownAreEachLookedAtOnce) {
    // 2^40 ways, if each were walked.
    machine.stacked("253:0", "dm-0", luks, {sata});
    machine.stacked("252:0", "md0", "", {inBlock("dm-0")});
    for (int level = 1; level <= 40; ++level) {
        const std::string last = std::to_string(level - 1);
        for (const auto& [major, name] : {std::pair("253:", "dm-"), std::pair("252:", "md")}) {
            machine.stacked(major + std::to_string(level), name + std::to_string(level), "",
                            {inBlock("dm-" + last), inBlock("md" + last)});
        }
    }
    EXPECT_EQ(mounted("253:40"), R"(internal SATA ext4 encrypted ["Data"])");
}

TEST_F(LinuxDisks, ASlaveThatLeadsNowhereIsUnknown) {
    machine.stacked("254:0", "dm-0", lvm, {"gone/block/sdz"});
    EXPECT_EQ(mounted("254:0"), R"(internal ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, BtrfsOverTwoDevicesIsEncryptedIfBothAre) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.stacked("254:1", "dm-1", luks, {partitionOf(secondSATA, "1")});
    machine.btrfs("one", {inBlock("dm-0"), partitionOf(sata, "1")});
    machine.btrfs("both", {inBlock("dm-0"), inBlock("dm-1")});
    btrfs = {{"/", {"both", 2}}, {"/home", {"one", 2}}};
    EXPECT_EQ(mounted("0:30", "btrfs"), R"(internal SATA btrfs encrypted ["Data"])");
    machine.mount("0:31", "/home", "btrfs");
    EXPECT_EQ(at("/home"), R"(internal SATA btrfs plain ["Data"])");
}

TEST_F(LinuxDisks, BtrfsWhoseDevicesAreNotAllThereIsUnknown) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.btrfs("id", {inBlock("dm-0")});
    btrfs = {{"/", {"id", 2}}};
    EXPECT_EQ(mounted("0:30", "btrfs"), R"(internal btrfs unknown ["Data"])");
    btrfs = {{"/", {"other", 1}}};
    EXPECT_EQ(at("/"), R"(internal btrfs unknown ["Data"])");
    btrfs = {};
    EXPECT_EQ(at("/"), R"(internal btrfs unknown ["Data"])");
    btrfs = {{"/", {"id", 1}}};
    EXPECT_EQ(at("/"), R"(internal SATA btrfs encrypted ["Data"])");
}

TEST_F(LinuxDisks, ASubvolumeThatMayNotBeLookedAtIsKnownByAnother) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.btrfs("id", {inBlock("dm-0")});
    btrfs = {{"/home", {"id", 1}}};
    machine.mount("0:30", "/", "btrfs");
    machine.mount("0:30", "/home", "btrfs");
    machine.mount("0:30", "/srv", "btrfs");
    const VELLinuxDisks arbitration = disks();
    const auto session = arbitration.createSession();
    const auto encrypted = [&session](const std::string& path) {
        return session->diskAtMountPoint(path)->copyMedia()->property("Encrypted");
    };
    EXPECT_EQ(encrypted("/home"), std::optional<VELValue>(true));
    EXPECT_EQ(encrypted("/srv"), std::optional<VELValue>(true));
    EXPECT_EQ(encrypted("/"), std::optional<VELValue>(true));
    EXPECT_EQ(btrfsQuestions, (std::vector<std::string>{"/home"}));
}

TEST_F(LinuxDisks, BtrfsIsNotTakenForOneThatCoversIt) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.btrfs("encrypted", {inBlock("dm-0")});
    btrfs = {{"/", {"encrypted", 1}}, {"/home", {"encrypted", 1}}};
    machine.addMount("40 1 0:30 / / rw - btrfs /dev/mapper/root rw\n"
                     "41 40 0:31 / /home rw - btrfs /dev/sda1 rw\n"
                     "42 41 0:30 /home /home rw - btrfs /dev/mapper/root rw\n");
    machine.writeMountInfo();
    covered = {41};
    EXPECT_EQ(at("/"), R"(internal SATA btrfs encrypted ["Data"])");
    EXPECT_EQ(at("/home"), R"(internal btrfs unknown ["Data"])");
    covered = {};
    EXPECT_EQ(at("/home"), R"(internal SATA btrfs encrypted ["Data"])");
}

TEST_F(LinuxDisks, BtrfsIsNotAskedWhereAServerMightNotAnswer) {
    machine.btrfs("id", {partitionOf(sata, "1")});
    btrfs = {{"/net/a", {"id", 1}}, {"/over", {"id", 1}}, {"/network", {"id", 1}}};
    machine.mount("0:99", "/", "overlay");
    machine.mount("0:50", "/net", "nfs4");
    machine.mount("0:30", "/net/a", "btrfs");
    machine.mount("0:31", "/over", "btrfs");
    machine.mount("0:51", "/over", "fuse.sshfs");
    machine.mount("0:32", "/network", "btrfs");
    EXPECT_EQ(at("/net/a"), R"(internal btrfs unknown ["Data"])");
    EXPECT_EQ(at("/over"), R"(internal btrfs unknown ["Data"])");
    EXPECT_EQ(at("/network"), R"(internal SATA btrfs plain ["Data"])");
    EXPECT_EQ(btrfsQuestions, (std::vector<std::string>{"/network"}));
}

TEST_F(LinuxDisks, ESPAndBootVolumesHoldNoData) {
    machine.mount("8:2", "/", "ext4");
    machine.mount("8:1", "/boot", "ext4");
    machine.mount("8:1", "/boot/efi", "vfat");
    machine.mount("8:1", "/efi", "vfat");
    machine.mount("8:1", "/boot/data", "ext4");
    for (const char* path : {"/boot", "/boot/efi", "/efi"}) {
        EXPECT_NE(at(path).find(" plain"), std::string::npos) << path;
        EXPECT_EQ(at(path).find("Data"), std::string::npos) << path;
    }
    EXPECT_EQ(at("/boot/data"), R"(internal SATA ext4 plain ["Data"])");
    EXPECT_EQ(at("/"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, BootPartitionsAreKnownByTheirType) {
    machine.mount("8:2", "/", "ext4");
    machine.mount("8:1", "/media/esp", "vfat");
    EXPECT_EQ(at("/media/esp"), R"(internal SATA vfat plain ["Data"])");
    for (const char* type : {"c12a7328-f81f-11d2-ba4b-00a0c93ec93b",
                             "bc13c2ff-59e6-4262-a352-b275fd6f7172", "0xef", "0xea"}) {
        udev = {{"8:1 ID_PART_ENTRY_TYPE", type}};
        EXPECT_EQ(at("/media/esp"), "internal SATA vfat plain") << type;
    }
    for (const char* type : {"0fc63daf-8483-4772-8e79-3d69d8477de4", "0x83", ""}) {
        udev = {{"8:1 ID_PART_ENTRY_TYPE", type}};
        EXPECT_EQ(at("/media/esp"), R"(internal SATA vfat plain ["Data"])") << type;
    }
}

TEST_F(LinuxDisks, NTFSIsKnownWhicheverProgramServesIt) {
    machine.mount("8:2", "/", "ext4");
    machine.mount("8:1", "/w", "ntfs3");
    EXPECT_EQ(at("/w"), R"(internal SATA ntfs plain ["Data"])");
    machine.mount("8:17", "/x", "fuseblk");
    EXPECT_EQ(at("/x"), R"(internal SATA fuseblk plain ["Data"])");
    udev = {{"8:17 ID_FS_TYPE", "ntfs"}, {"8:2 ID_FS_TYPE", "ntfs"}};
    EXPECT_EQ(at("/x"), R"(internal SATA ntfs plain ["Data"])");
    EXPECT_EQ(at("/"), R"(internal SATA ext4 plain ["Data"])");
    udev = {{"8:17 ID_FS_TYPE", "exfat"}};
    EXPECT_EQ(at("/x"), R"(internal SATA exfat plain ["Data"])");
}

TEST_F(LinuxDisks, ImagesThatAreNeverWrittenHoldNoData) {
    machine.disk("7:0", inBlock("loop0"));
    for (const char* type : {"squashfs", "erofs", "iso9660", "cramfs", "romfs"}) {
        EXPECT_EQ(mounted("7:0", type),
                  "external Virtual Interface " + std::string(type) + " plain");
    }
}

TEST_F(LinuxDisks, OnlyADeviceThatCannotBeWrittenIsReadOnly) {
    machine.mount("8:1", "/", "ext4", "ro");
    EXPECT_EQ(at("/"), R"(internal SATA ext4 plain ["Data"])");
    machine.attribute(partitionOf(sata, "1"), "ro", "1");
    EXPECT_EQ(at("/"), "internal SATA ext4 plain");
}

TEST_F(LinuxDisks, NetworkMemoryAndKernelFileSystemsHaveNoDisk) {
    machine.mount("8:1", "/", "ext4");
    for (const char* type : {"overlay", "tmpfs", "nfs", "nfs4", "cifs", "smb3", "ceph", "9p",
                             "virtiofs", "proc", "sysfs", "devtmpfs", "cgroup2", "autofs",
                             "fuse.sshfs", "fuse.gvfsd-fuse", "fuse.portal", "fusectl"}) {
        machine.mount("0:77", "/" + std::string(type), type);
        EXPECT_EQ(at("/" + std::string(type)), "no disk") << type;
    }
    EXPECT_EQ(at("/proc"), "no disk");
}

TEST_F(LinuxDisks, ATypeWithoutDiskDoesNotHideADevice) {
    EXPECT_EQ(mounted("8:1", "overlay"), R"(internal SATA overlay plain ["Data"])");
}

TEST_F(LinuxDisks, AVolumeWhoseDeviceCannotBeFoundStaysInScope) {
    machine.mount("0:30", "/", "zfs");
    machine.mount("8:99", "/gone", "ext4");
    machine.mount("0:31", "/own", "fuse.own");
    machine.mount("0:32", "/nfs5", "nfs5");
    machine.mount("0:33", "/image", "fuse.own", "ro,nosuid");
    machine.mount("0:34", "/dataset", "zfs", "ro");
    EXPECT_EQ(at("/"), R"(internal zfs unknown ["Data"])");
    EXPECT_EQ(at("/gone"), R"(internal ext4 unknown ["Data"])");
    EXPECT_EQ(at("/own"), R"(internal fuse.own unknown ["Data"])");
    EXPECT_EQ(at("/nfs5"), R"(internal nfs5 unknown ["Data"])");
    EXPECT_EQ(at("/image"), "internal fuse.own unknown");
    EXPECT_EQ(at("/dataset"), R"(internal zfs unknown ["Data"])");
}

TEST_F(LinuxDisks, PathsWithSpacesAndLineEnds) {
    machine.mount("8:1", "/", "ext4");
    machine.mount("8:2", "/my\\040disk\\012two\\134", "ext4");
    EXPECT_EQ(at("/my disk\ntwo\\"), R"(internal SATA ext4 plain ["Data"])");
    EXPECT_EQ(at("/my\\040disk\\012two\\134"), "no disk");
    EXPECT_EQ(disks().mountTable()->back().mountPoint, "/my disk\ntwo\\");
}

TEST_F(LinuxDisks, APathThatIsNotUTF8DoesNotDropOut) {
    machine.mount("8:1", "/", "ext4");
    machine.mount("8:2", "/caf\xE9", "ext4");
    EXPECT_EQ(disks().mountTable()->back().mountPoint, "/caf\xEF\xBF\xBD");
    EXPECT_EQ(at("/caf\xEF\xBF\xBD"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, BindMountsAreWhatTheyShow) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.addMount("40 1 254:0 / / rw - ext4 /dev/mapper/root rw\n"
                     "41 40 254:0 /srv/a /srv/b rw - ext4 /dev/mapper/root rw\n"
                     "42 40 8:1 /etc/hosts /etc/hosts rw - ext4 /dev/sda1 rw\n");
    machine.writeMountInfo();
    EXPECT_EQ(at("/srv/b"), R"(internal SATA ext4 encrypted ["Data"])");
    EXPECT_EQ(at("/etc/hosts"), R"(internal SATA ext4 plain ["Data"])");
}

TEST_F(LinuxDisks, AMountDoesNotHideAnUnencryptedVolumeBelowIt) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.mount("254:0", "/", "ext4");
    machine.mount("8:1", "/home", "ext4");
    machine.mount("254:0", "/home", "ext3");
    machine.mount("0:40", "/home", "tmpfs");
    EXPECT_EQ(at("/home"), R"(internal SATA ext4 plain ["Data"])");
    machine.mount("0:40", "/", "tmpfs");
    EXPECT_EQ(at("/"), R"(internal SATA ext4 encrypted ["Data"])");
    machine.mount("254:0", "/srv", "ext4");
    machine.mount("254:0", "/srv", "ext3");
    EXPECT_EQ(at("/srv"), R"(internal SATA ext3 encrypted ["Data"])");
}

TEST_F(LinuxDisks, AnNTFSVolumeDoesNotHideAnUnencryptedOneBelowIt) {
    machine.mount("8:1", "/", "ext4");
    machine.mount("8:17", "/", "ntfs3");
    EXPECT_EQ(at("/"), R"(internal SATA ext4 plain ["Data"])");
    machine.mount("8:17", "/windows", "ntfs3");
    EXPECT_EQ(at("/windows"), R"(internal SATA ntfs plain ["Data"])");
}

TEST_F(LinuxDisks, TheMountTableKeepsTypesAndOrder) {
    machine.mount("8:1", "/", "ext4");
    const auto table = disks().mountTable().value();
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[0].fileSystemType + table[0].mountPoint, "proc/proc");
    EXPECT_EQ(table[1].fileSystemType + table[1].mountPoint, "ext4/");
}

TEST_F(LinuxDisks, ATableThatDoesNotTellOfEveryVolumeIsNone) {
    EXPECT_EQ(disks().mountTable().has_value(), false) << "nothing at /";
    for (const char* text : {"", "no table\n", "1 2 8:1 / /home rw - ext4 /dev/sda1 rw\n",
                             "1 0 8:1 / / rw - ext4 /dev/sda1 rw\nx\n"}) {
        machine.writeMountInfo(text);
        EXPECT_FALSE(disks().mountTable()) << text;
        EXPECT_EQ(at("/"), R"(internal  unknown ["Data"])") << text;
    }
    EXPECT_FALSE(VELLinuxDisks({.root = machine.root() + "/none"}).mountTable());
}

TEST_F(LinuxDisks, AMountPointWithoutAMountHasNoDisk) {
    machine.mount("8:1", "/", "ext4");
    for (const char* path : {"", "/home", "//", "/."}) {
        EXPECT_EQ(at(path), "no disk") << path;
    }
}

TEST_F(LinuxDisks, ASessionLooksWhenItIsFirstAsked) {
    const VELLinuxDisks arbitration = disks();
    const auto session = arbitration.createSession();
    machine.mount("8:1", "/", "ext4");
    EXPECT_NE(session->diskAtMountPoint("/"), nullptr);
    machine.mount("8:2", "/later", "ext4");
    EXPECT_EQ(session->diskAtMountPoint("/later"), nullptr);
    EXPECT_NE(arbitration.createSession()->diskAtMountPoint("/later"), nullptr);
}

TEST_F(LinuxDisks, ADiskOutlivesItsSession) {
    machine.mount("8:1", "/", "ext4");
    const VELLinuxDisks arbitration = disks();
    auto session = arbitration.createSession();
    const auto disk = session->diskAtMountPoint("/");
    session.reset();
    EXPECT_EQ(disk->copyMedia()->property("Encrypted"), std::optional<VELValue>(false));
}

/// The scan of this machine, as the check asks it.
bool scan(const MadeMachine& machine) {
    const auto platform = std::make_shared<VELLinuxPlatform>(
        VELLinuxProductVersion(machine.root()),
        VELLinuxSerialNumber(machine.root(), [] { return std::optional<std::string>(); }),
        VELLinuxPreferences(machine.root(), [] { return std::optional<std::string>(); }),
        VELPOSIXFiles(machine.root()),
        VELLinuxDisks(
            {.root = machine.root(),
             .btrfsInformation = [](const std::string&, unsigned) { return std::nullopt; },
             .udevProperty = [](unsigned, unsigned, const char*) { return std::nullopt; }}));
    return VELFileVaultEncryptionCheck(platform).allInternalOrBootVolumesEncrypted();
}

TEST_F(LinuxDisks, ThousandsOfMountsAreScanned) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.addMount("1 0 254:0 / / rw - ext4 /dev/mapper/root rw\n");
    for (int index = 0; index < 5'000; ++index) {
        machine.addMount("2 1 254:0 /a /m" + std::to_string(index) +
                         " rw shared:1 - ext4 /dev/mapper/root rw\n");
    }
    machine.writeMountInfo();
    EXPECT_TRUE(scan(machine));
    machine.mount("8:1", "/last", "ext4");
    EXPECT_FALSE(scan(machine));
}

TEST_F(LinuxDisks, OfThousandsOnOnePointTheUnencryptedOneIsFound) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.addMount("1 0 254:0 / / rw - ext4 /dev/mapper/root rw\n");
    const auto stack = [this](std::string_view number) {
        for (int index = 0; index < 8'000; ++index) {
            machine.addMount("2 1 " + std::string(number) +
                             " / /m rw shared:1 - ext4 /dev/mapper/root rw\n");
        }
    };
    stack("254:0");
    machine.writeMountInfo();
    EXPECT_TRUE(scan(machine));
    machine.addMount("2 1 8:1 / /m rw shared:1 - ext4 /dev/sda1 rw\n");
    stack("254:0");
    machine.writeMountInfo();
    EXPECT_FALSE(scan(machine));
}

TEST_F(LinuxDisks, AnEncryptedLaptopPassesTheScan) {
    machine.stacked("254:0", "dm-0", luks, {partitionOf(sata, "2")});
    machine.stacked("254:1", "dm-1", lvm, {inBlock("dm-0")});
    machine.disk("8:32", usb, true);
    machine.disk("7:0", inBlock("loop0"));
    machine.mount("254:1", "/", "ext4");
    machine.mount("8:1", "/boot/efi", "vfat");
    machine.mount("0:25", "/run", "tmpfs");
    machine.mount("7:0", "/snap/core/1", "squashfs", "ro");
    machine.mount("8:32", "/media/stick", "vfat");
    machine.mount("0:60", "/run/user/1000/gvfs", "fuse.gvfsd-fuse");
    EXPECT_TRUE(scan(machine));
    machine.mount("8:17", "/mnt/second", "ext4");
    EXPECT_FALSE(scan(machine));
}

} // namespace
