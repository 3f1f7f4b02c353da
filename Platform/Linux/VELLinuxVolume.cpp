// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxVolume.h"

#include <algorithm>
#include <array>

namespace vel {
namespace {

// Sorted. Of programs' own file systems ("fuse.") those that show what is on other file systems or
// elsewhere; any other may keep its data on a disk of its own.
constexpr std::array typesWithoutDisk = {
    std::string_view("9p"),
    std::string_view("afs"),
    std::string_view("anon_inodefs"),
    std::string_view("apparmorfs"),
    std::string_view("aufs"),
    std::string_view("autofs"),
    std::string_view("bdev"),
    std::string_view("beegfs"),
    std::string_view("binder"),
    std::string_view("binfmt_misc"),
    std::string_view("bpf"),
    std::string_view("ceph"),
    std::string_view("cgroup"),
    std::string_view("cgroup2"),
    std::string_view("cifs"),
    std::string_view("coda"),
    std::string_view("configfs"),
    std::string_view("cpuset"),
    std::string_view("debugfs"),
    std::string_view("devfs"),
    std::string_view("devpts"),
    std::string_view("devtmpfs"),
    std::string_view("ecryptfs"),
    std::string_view("efivarfs"),
    std::string_view("fuse.bindfs"),
    std::string_view("fuse.ceph"),
    std::string_view("fuse.ceph-fuse"),
    std::string_view("fuse.cryfs"),
    std::string_view("fuse.encfs"),
    std::string_view("fuse.glusterfs"),
    std::string_view("fuse.gocryptfs"),
    std::string_view("fuse.gvfsd-fuse"),
    std::string_view("fuse.jmtpfs"),
    std::string_view("fuse.lxcfs"),
    std::string_view("fuse.mergerfs"),
    std::string_view("fuse.portal"),
    std::string_view("fuse.rclone"),
    std::string_view("fuse.s3fs"),
    std::string_view("fuse.snapfuse"),
    std::string_view("fuse.squashfuse"),
    std::string_view("fuse.sshfs"),
    std::string_view("fuse.vmhgfs-fuse"),
    std::string_view("fuse.vmware-vmblock"),
    std::string_view("fusectl"),
    std::string_view("gpfs"),
    std::string_view("hugetlbfs"),
    std::string_view("kafs"),
    std::string_view("lustre"),
    std::string_view("mqueue"),
    std::string_view("ncpfs"),
    std::string_view("nfs"),
    std::string_view("nfs4"),
    std::string_view("nfsd"),
    std::string_view("nsfs"),
    std::string_view("ocfs2_dlmfs"),
    std::string_view("orangefs"),
    std::string_view("overlay"),
    std::string_view("panfs"),
    std::string_view("pipefs"),
    std::string_view("prl_fs"),
    std::string_view("proc"),
    std::string_view("pstore"),
    std::string_view("ramfs"),
    std::string_view("resctrl"),
    std::string_view("rootfs"),
    std::string_view("rpc_pipefs"),
    std::string_view("securityfs"),
    std::string_view("selinuxfs"),
    std::string_view("shiftfs"),
    std::string_view("smackfs"),
    std::string_view("smb3"),
    std::string_view("smbfs"),
    std::string_view("sockfs"),
    std::string_view("spufs"),
    std::string_view("sysfs"),
    std::string_view("tmpfs"),
    std::string_view("tracefs"),
    std::string_view("unionfs"),
    std::string_view("usbfs"),
    std::string_view("vboxsf"),
    std::string_view("virtiofs"),
    std::string_view("xenfs"),
};
static_assert(std::ranges::is_sorted(typesWithoutDisk));

// These can be written when they are made, and never again.
constexpr std::array typesNeverWritten = {
    std::string_view("cramfs"), std::string_view("erofs"),    std::string_view("iso9660"),
    std::string_view("romfs"),  std::string_view("squashfs"),
};

// Of partition tables with GUIDs and of those with numbers: the EFI system partition and the
// extended boot loader partition.
constexpr std::array bootPartitionTypes = {
    std::string_view("c12a7328-f81f-11d2-ba4b-00a0c93ec93b"),
    std::string_view("0xef"),
    std::string_view("bc13c2ff-59e6-4262-a352-b275fd6f7172"),
    std::string_view("0xea"),
};

constexpr std::array bootMountPoints = {
    std::string_view("/boot"),
    std::string_view("/boot/efi"),
    std::string_view("/efi"),
};

template <typename Names> bool isAmong(const Names& names, std::string_view name) {
    return std::ranges::find(names, name) != names.end();
}

bool isNeverWritten(const VELLinuxVolume& volume) {
    const std::string_view type = volume.mount.fileSystemType;
    if (isAmong(typesNeverWritten, type)) {
        return true;
    }
    if (volume.storage) {
        // A device that can be written to may have been, however it is mounted now.
        return volume.storage->readOnly;
    }
    const bool ofAProgram = type == "fuse" || type.starts_with("fuse.");
    return ofAProgram && volume.mount.readOnly;
}

} // namespace

bool hasNoDisk(std::string_view fileSystemType) {
    return std::ranges::binary_search(typesWithoutDisk, fileSystemType);
}

bool answersByItself(const VELLinuxMount& mount) {
    constexpr std::array types = {std::string_view("btrfs"), std::string_view("devtmpfs"),
                                  std::string_view("ramfs"), std::string_view("rootfs"),
                                  std::string_view("tmpfs")};
    return mount.major != 0 ? mount.fileSystemType != "fuseblk"
                            : isAmong(types, mount.fileSystemType);
}

std::string volumeKind(const VELLinuxVolume& volume) {
    const std::string& type = volume.mount.fileSystemType;
    const std::string kind = type == "fuseblk" ? volume.fileSystemOnDevice.value_or(type) : type;
    return kind == "ntfs3" ? "ntfs" : kind;
}

bool isDataVolume(const VELLinuxVolume& volume) {
    return !isNeverWritten(volume) && !isAmong(bootMountPoints, volume.mount.mountPoint) &&
           !isAmong(bootPartitionTypes, volume.partitionType.value_or(std::string()));
}

} // namespace vel
