// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// One mounted file system as the kernel lists it. Texts are bytes, escapes undone.
struct VELLinuxMount {
    /// Of the file system; major 0 is one without a block device of its own.
    unsigned major = 0;
    unsigned minor = 0;
    std::string mountPoint;
    /// Such as "ext4" or "fuse.sshfs".
    std::string fileSystemType;
    /// The file system itself is mounted read-only, not only this mount of it.
    bool readOnly = false;
    /// The mount's own number.
    unsigned id = 0;
    /// What is mounted, such as "/dev/vda1", "server:/path" or "tmpfs"; it may be empty.
    std::string source = {};

    friend bool operator==(const VELLinuxMount&, const VELLinuxMount&) = default;
};

namespace vel {

/// The mounts that the text of a `mountinfo` file (proc(5)) lists, in its order. Absent: one of its
/// lines is not of that form. An empty text lists none.
std::optional<std::vector<VELLinuxMount>> mountsInMountInfo(std::string_view text);

} // namespace vel
