// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELDiskArbitration.h"

#include <atomic>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

/// A disk in plain data. What is absent here is the platform's "absent".
struct VELSimulatedDisk {
    std::optional<VELDiskDescription> description;
    /// Properties of the media object, by name.
    std::optional<std::map<std::string, VELValue, std::less<>>> media;
};

/// A mounted file system in plain data. Without a disk, no disk object can be made of it.
struct VELSimulatedMount {
    std::string fileSystemType;
    std::string mountPoint;
    std::optional<VELSimulatedDisk> disk;
    /// As in the mount table, below "/dev/". Empty: none.
    std::string device = {};
};

/// Disks in plain data. Counts what it is asked, and how much of what it handed out is still out.
class VELSimulatedDisks final : public VELDiskArbitration {
public:
    /// Whether a session can be made.
    bool sessionAvailable = true;
    /// Absent: the mount table cannot be read.
    std::optional<std::vector<VELSimulatedMount>> mounts = std::vector<VELSimulatedMount>{};

    struct Counts {
        std::atomic<unsigned> sessions = 0;
        std::atomic<unsigned> mountTables = 0;
        std::atomic<unsigned> disks = 0;
        std::atomic<unsigned> descriptions = 0;
        std::atomic<unsigned> mediaLookUps = 0;
        std::atomic<unsigned> properties = 0;
        /// Sessions, disks and media objects that have not been given back.
        std::atomic<int> handedOut = 0;
    };
    mutable Counts counts;

    [[nodiscard]] std::unique_ptr<VELDiskSession> createSession() const override;
    [[nodiscard]] std::optional<std::vector<VELMount>> mountTable() const override;
};
