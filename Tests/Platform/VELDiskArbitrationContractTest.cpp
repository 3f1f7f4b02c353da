// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELDiskArbitration.h"
#include "Tests/Platform/TypedContractMachines.h"

namespace {

template <typename Machine> class DiskArbitrationContract : public PlatformContract<Machine> {
protected:
    const VELDiskArbitration& disks() { return this->machine.platform().diskArbitration(); }
};
TYPED_TEST_SUITE(DiskArbitrationContract, ContractMachines, ContractMachineNames);

TYPED_TEST(DiskArbitrationContract, TheMountTableKeepsItsOrderTypesDevicesAndBytes) {
    this->machine.mountPlain("/", "ext4");
    this->machine.mountWithoutDisk("/net work", "nfs");
    this->machine.mountPlain("/Öl", "xfs");
    const auto table = this->disks().mountTable().value();
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

TYPED_TEST(DiskArbitrationContract, AMountTableThatCannotBeReadIsAbsent) {
    this->machine.loseMountTable();
    EXPECT_FALSE(this->disks().mountTable());
    EXPECT_NE(this->disks().createSession(), nullptr);
}

TYPED_TEST(DiskArbitrationContract, ADiskTellsOfItsDeviceAndItsMedia) {
    this->machine.mountPlain("/", "ext4");
    const auto session = this->disks().createSession();
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

TYPED_TEST(DiskArbitrationContract, EveryCopyIsAnObjectOfItsOwn) {
    this->machine.mountPlain("/", "ext4");
    const auto session = this->disks().createSession();
    const auto disk = session->diskAtMountPoint("/");
    const auto first = disk->copyMedia();
    const auto second = disk->copyMedia();
    EXPECT_NE(first, second);
    EXPECT_NE(session->diskAtMountPoint("/"), disk);
}

TYPED_TEST(DiskArbitrationContract, WhereNoVolumeWithADiskIsMountedThereIsNoDisk) {
    this->machine.mountPlain("/", "ext4");
    this->machine.mountWithoutDisk("/net", "nfs");
    const auto session = this->disks().createSession();
    for (const char* mountPoint : {"/net", "/home", "", "//"}) {
        EXPECT_EQ(session->diskAtMountPoint(mountPoint), nullptr) << mountPoint;
    }
}

TYPED_TEST(DiskArbitrationContract, OfMountsOverOneAnotherTheUpperOneIsTheDisk) {
    this->machine.mountPlain("/", "ext4");
    this->machine.mountPlain("/", "xfs");
    this->machine.mountPlain("/a", "ext4");
    EXPECT_EQ(this->disks().mountTable()->size(), 3U);
    const auto session = this->disks().createSession();
    EXPECT_EQ(*session->diskAtMountPoint("/")->copyDescription()->volumeKind, VELValue("xfs"));
}

} // namespace
