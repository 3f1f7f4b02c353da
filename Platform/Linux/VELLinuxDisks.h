// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxVolumeSources.h"
#include "Platform/VELDiskArbitration.h"

#include <functional>

/// Where the answers about volumes come from.
struct VELLinuxDiskSources {
    using BtrfsInformation = std::function<std::optional<vel::VELBtrfsInformation>(
        const std::string& mountPoint, unsigned mountID)>;
    using UdevProperty =
        std::function<std::optional<std::string>(unsigned major, unsigned minor, const char* name)>;

    /// Stands before "/proc/self/mountinfo" and "/sys", empty for the machine itself.
    std::string root = {};
    BtrfsInformation btrfsInformation = vel::btrfsInformation;
    UdevProperty udevProperty = vel::udevProperty;
};

/// The mounted volumes of a Linux machine, described as a Mac describes its own. A mount point is
/// never looked at, because a network file system whose server is gone would hang; only btrfs is
/// asked at its mount point, where it is not covered and nothing mounted at or above it may hang.
///
/// - The mount table is absent when it cannot be read, is malformed or does not list what is
///   mounted at "/" (as in a changed root): then it does not list every volume.
/// - In mount points, bytes that are not UTF-8 are replaced by U+FFFD, here and in the table alike.
/// - File systems that have no disk (network, memory and kernel file systems, overlays) have no
///   disk object. Of file systems mounted over one another the uppermost is the disk, unless one
///   below it is an unencrypted data volume.
/// - A volume whose device cannot be found out is internal, in the role "Data" and has no property
///   of encryption: it stays in scope.
/// - "Encrypted" is whether every way down to a disk crosses a mapping that encrypts.
class VELLinuxDisks final : public VELDiskArbitration {
public:
    explicit VELLinuxDisks(VELLinuxDiskSources sources = {});

    /// Never null. A session serves one thread at a time.
    [[nodiscard]] std::unique_ptr<VELDiskSession> createSession() const override;
    [[nodiscard]] std::optional<std::vector<VELMount>> mountTable() const override;

private:
    VELLinuxDiskSources _sources;
};
