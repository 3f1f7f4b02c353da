// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxBlockDevices.h"
#include "Platform/Linux/VELLinuxMountInfo.h"

#include <optional>
#include <string>
#include <string_view>

/// A mounted volume and what is known of it.
struct VELLinuxVolume {
    VELLinuxMount mount;
    /// Absent: the device cannot be found out.
    std::optional<VELLinuxStorage> storage;
    /// As udev knows them; absent where it does not, or was not asked.
    std::optional<std::string> fileSystemOnDevice;
    std::optional<std::string> partitionType;
};

namespace vel {

/// Whether file systems of this type have no disk: what they show is elsewhere, in memory or made
/// up. Only for file systems without a block device of their own.
bool hasNoDisk(std::string_view fileSystemType);

/// Whether looking at a path on a file system mounted there never waits for a server or a program.
bool answersByItself(const VELLinuxMount& mount);

/// The kind as disk descriptions name it: "ntfs" for each of its drivers.
std::string volumeKind(const VELLinuxVolume& volume);

/// Whether the volume holds data: not if it starts the machine or can never be written to.
bool isDataVolume(const VELLinuxVolume& volume);

} // namespace vel
