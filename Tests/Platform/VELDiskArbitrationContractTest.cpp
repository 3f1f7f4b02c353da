// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELDiskArbitration.h"
#include "Tests/Platform/ContractMachines.h"

#include <nlohmann/json.hpp>
#include <optional>

namespace {

class DiskArbitrationContract : public ContractTest {
protected:
    const VELDiskArbitration& disks() { return machine->platform().diskArbitration(); }
};
INSTANTIATE_TEST_SUITE_P(, DiskArbitrationContract, testing::ValuesIn(allMachines()), machineName);

TEST_P(DiskArbitrationContract, TheMountTableKeepsItsOrderTypesDevicesAndBytes) {
    machine->mountPlain("/", "ext4");
    machine->mountWithoutDisk("/net work", "nfs");
    machine->mountPlain("/Öl", "xfs");
    const auto table = disks().mountTable().value();
    ASSERT_EQ(table.size(), 3U);
    EXPECT_EQ(table[0].mountPoint, "/");
    EXPECT_EQ(table[0].fileSystemType, "ext4");
    EXPECT_EQ(table[0].device, "sda");
    EXPECT_EQ(table[1].mountPoint, "/net work");
    EXPECT_EQ(table[1].fileSystemType, "nfs");
    EXPECT_EQ(table[1].device, "");
    EXPECT_EQ(table[2].mountPoint, "/Öl");
    EXPECT_EQ(table[2].fileSystemType, "xfs");
    EXPECT_EQ(table[2].device, "sda");
}

TEST_P(DiskArbitrationContract, AMountTableThatCannotBeReadIsAbsent) {
    machine->loseMountTable();
    EXPECT_FALSE(disks().mountTable());
    EXPECT_NE(disks().createSession(), nullptr);
}

TEST_P(DiskArbitrationContract, ADiskTellsOfItsDeviceAndItsMedia) {
    machine->mountPlain("/", "ext4");
    const auto session = disks().createSession();
    const auto disk = session->diskAtMountPoint("/");
    ASSERT_NE(disk, nullptr);
    const VELDiskDescription description = disk->copyDescription().value();
    EXPECT_EQ(*description.deviceInternal, VELValue(true));
    EXPECT_EQ(*description.deviceProtocol, VELValue("SATA"));
    EXPECT_EQ(*description.volumeKind, VELValue("ext4"));
    const auto media = disk->copyMedia();
    EXPECT_EQ(media->property("Sealed"), std::optional<VELValue>("No"));
    EXPECT_EQ(media->property("Role"), std::optional(VELValue::array({"Data"})));
    EXPECT_EQ(media->property("Encrypted"), std::optional<VELValue>(false));
    EXPECT_EQ(media->property("CoreStorage Encrypted"), std::nullopt);
    EXPECT_EQ(media->property("encrypted"), std::nullopt);
    EXPECT_EQ(media->property(""), std::nullopt);
}

TEST_P(DiskArbitrationContract, EveryCopyIsAnObjectOfItsOwn) {
    machine->mountPlain("/", "ext4");
    const auto session = disks().createSession();
    const auto disk = session->diskAtMountPoint("/");
    const auto first = disk->copyMedia();
    const auto second = disk->copyMedia();
    EXPECT_NE(first, second);
    EXPECT_NE(session->diskAtMountPoint("/"), disk);
}

TEST_P(DiskArbitrationContract, WhereNoVolumeWithADiskIsMountedThereIsNoDisk) {
    machine->mountPlain("/", "ext4");
    machine->mountWithoutDisk("/net", "nfs");
    const auto session = disks().createSession();
    for (const char* mountPoint : {"/net", "/home", "", "//"}) {
        EXPECT_EQ(session->diskAtMountPoint(mountPoint), nullptr) << mountPoint;
    }
}

TEST_P(DiskArbitrationContract, OfMountsOverOneAnotherTheUpperOneIsTheDisk) {
    machine->mountPlain("/", "ext4");
    machine->mountPlain("/", "xfs");
    machine->mountPlain("/a", "ext4");
    EXPECT_EQ(disks().mountTable()->size(), 3U);
    const auto session = disks().createSession();
    EXPECT_EQ(*session->diskAtMountPoint("/")->copyDescription()->volumeKind, VELValue("xfs"));
}

} // namespace
