// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What is known of the storage below a volume.
struct VELLinuxStorage {
    /// One of the disks below is internal, or cannot be shown to be external.
    bool internal = true;
    /// The protocol of the first internal disk, else of the first one. Absent: on no bus that is
    /// known.
    std::optional<std::string> protocol;
    /// Every way down to a disk crosses a mapping that encrypts.
    bool encrypted = false;
    /// Every way down to a disk crosses dm-verity, which seals but does not encrypt.
    bool sealed = false;
    /// No volume on it can be written to.
    bool readOnly = false;

    friend bool operator==(const VELLinuxStorage&, const VELLinuxStorage&) = default;
};

/// What the bus of a disk is found from: texts of sysfs, each empty where there is no such file.
struct VELLinuxDiskTexts {
    /// The disk's folder below the folder of all devices: "pci0000:00/.../ata1/.../block/sda".
    std::string path;
    /// "1": its medium can be taken out.
    std::string removable;
    /// Of a memory card: "MMC" or "SD".
    std::string cardType;
    /// Of an NVMe disk: the transport of each of its controllers.
    std::vector<std::string> transports;
};

struct VELLinuxBus {
    bool internal = true;
    std::optional<std::string> protocol;

    friend bool operator==(const VELLinuxBus&, const VELLinuxBus&) = default;
};

namespace vel {

/// Whether a device-mapper uuid is one of a mapping that encrypts. Integrity and verity mappings,
/// whose uuids begin alike, are none.
bool isEncryptingMapping(std::string_view uuid);

/// Whether a device-mapper uuid is one of dm-verity.
bool isVerityMapping(std::string_view uuid);

/// The bus of a disk. A disk on a bus that is not known is internal.
VELLinuxBus busOfDisk(const VELLinuxDiskTexts& disk);

} // namespace vel

/// The block devices of a machine, from sysfs. Nothing is kept from one question to the next.
class VELLinuxBlockDevices {
public:
    /// `root` stands before "/sys", empty for the machine itself.
    explicit VELLinuxBlockDevices(std::string root = {});

    /// What is below the device with this number. Absent: there is none.
    [[nodiscard]] std::optional<VELLinuxStorage> storageOfDevice(unsigned major,
                                                                 unsigned minor) const;

    /// What is below all devices of the btrfs file system with this id, a lower-case uuid. Absent:
    /// there is none, or not all of its devices, `deviceCount`, are there.
    [[nodiscard]] std::optional<VELLinuxStorage> storageOfBtrfs(std::string_view id,
                                                                std::size_t deviceCount) const;

private:
    std::string _root;
};
