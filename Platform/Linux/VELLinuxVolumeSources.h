// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace vel {

struct VELBtrfsInformation {
    /// A uuid in lower case.
    std::string id;
    std::size_t deviceCount = 0;
};

/// What the btrfs file system that the mount `mountID` shows at `mountPoint` says of itself.
/// Absent: it is no btrfs, it may not be looked at, or another mount covers it. Opens the mount
/// point: nothing that may hang must be mounted there or above.
std::optional<VELBtrfsInformation> btrfsInformation(const std::string& mountPoint,
                                                    unsigned mountID);

/// A property that udev has noted for the block device with this number, such as "ID_FS_TYPE".
/// Absent: udev does not run here, does not know the device or does not know this of it.
std::optional<std::string> udevProperty(unsigned major, unsigned minor, const char* name);

} // namespace vel
