// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a disk's description says of it. A value may be of any type; it is nothing when absent.
struct VELDiskDescription {
    /// Whether the device is internal: a boolean, or a number that is not zero.
    std::shared_ptr<const VELValue> deviceInternal;
    /// The protocol that the device sits on, such as "PCI" or "USB": a string.
    std::shared_ptr<const VELValue> deviceProtocol;
    /// The volume's file system, such as "apfs" or "ntfs": a string.
    std::shared_ptr<const VELValue> volumeKind;
};

/// A disk's media object in the registry of devices.
class VELDiskMedia {
public:
    virtual ~VELDiskMedia() = default;

    /// The property of this object itself, whatever its type. Absent: it has none of that name; the
    /// objects above and below it are not asked.
    [[nodiscard]] virtual std::optional<VELValue> property(std::string_view name) const = 0;
};

/// A mounted volume's disk.
class VELDisk {
public:
    virtual ~VELDisk() = default;

    /// Absent: the service does not know the disk (any more).
    [[nodiscard]] virtual std::optional<VELDiskDescription> copyDescription() const = 0;

    /// Null: the disk has no media object, as a network volume has none.
    [[nodiscard]] virtual std::unique_ptr<VELDiskMedia> copyMedia() const = 0;
};

/// A session of the disk-arbitration service.
class VELDiskSession {
public:
    virtual ~VELDiskSession() = default;

    /// The disk of the volume mounted at `mountPoint`. Null: none can be made.
    [[nodiscard]] virtual std::unique_ptr<VELDisk>
    diskAtMountPoint(const std::string& mountPoint) const = 0;
};

/// One mounted file system. All texts are bytes as the system gives them, without NUL.
struct VELMount {
    std::string fileSystemType; ///< such as "apfs"
    std::string mountPoint;     ///< the path at which it is mounted
    /// The device that is mounted, below "/dev/": such as "disk3s5". Empty: no device. For people:
    /// no check looks at it.
    std::string device = {};

    /// The device of a mount whose source the system calls `source`.
    static std::string deviceOfSource(std::string_view source) {
        constexpr std::string_view folder = "/dev/";
        return std::string(source.starts_with(folder) ? source.substr(folder.size()) : "");
    }
};

/// Disks and the mount table. What an operation hands out is released when it leaves scope. Every
/// operation may throw `std::bad_alloc`: no memory is never an answer.
class VELDiskArbitration {
public:
    virtual ~VELDiskArbitration() = default;

    /// Null: the service cannot be reached.
    [[nodiscard]] virtual std::unique_ptr<VELDiskSession> createSession() const = 0;

    /// The mounted file systems, in the order of the system's mount table. Absent: the table cannot
    /// be read. Empty: nothing is mounted, or the platform reports a failure as an empty table.
    [[nodiscard]] virtual std::optional<std::vector<VELMount>> mountTable() const = 0;
};
