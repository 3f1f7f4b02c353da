// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedDisks.h"

#include "Platform/Simulated/VELSimulatedHandle.h"

#include <algorithm>

namespace {

using Counts = VELSimulatedDisks::Counts;

class Media final : public VELDiskMedia {
public:
    Media(const VELSimulatedDisk& disk, Counts& counts)
        : _disk(disk), _counts(counts), _handle(counts.handedOut) {}

    [[nodiscard]] std::optional<VELValue> property(std::string_view name) const override {
        ++_counts.properties;
        const auto found = _disk.media->find(name);
        return found == _disk.media->end() ? std::nullopt : std::optional(found->second);
    }

private:
    const VELSimulatedDisk& _disk;
    Counts& _counts;
    VELSimulatedHandle _handle;
};

class Disk final : public VELDisk {
public:
    Disk(const VELSimulatedDisk& disk, Counts& counts)
        : _disk(disk), _counts(counts), _handle(counts.handedOut) {}

    [[nodiscard]] std::optional<VELDiskDescription> copyDescription() const override {
        ++_counts.descriptions;
        return _disk.description;
    }

    [[nodiscard]] std::unique_ptr<VELDiskMedia> copyMedia() const override {
        ++_counts.mediaLookUps;
        return _disk.media ? std::make_unique<Media>(_disk, _counts) : nullptr;
    }

private:
    const VELSimulatedDisk& _disk;
    Counts& _counts;
    VELSimulatedHandle _handle;
};

class Session final : public VELDiskSession {
public:
    explicit Session(const VELSimulatedDisks& disks)
        : _disks(disks), _handle(disks.counts.handedOut) {}

    [[nodiscard]] std::unique_ptr<VELDisk>
    diskAtMountPoint(const std::string& mountPoint) const override {
        ++_disks.counts.disks;
        if (!_disks.mounts) {
            return nullptr;
        }
        // Of two file systems mounted over one another the upper one is found.
        const auto mount =
            std::find_if(_disks.mounts->rbegin(), _disks.mounts->rend(),
                         [&](const auto& candidate) { return candidate.mountPoint == mountPoint; });
        if (mount == _disks.mounts->rend() || !mount->disk) {
            return nullptr;
        }
        return std::make_unique<Disk>(*mount->disk, _disks.counts);
    }

private:
    const VELSimulatedDisks& _disks;
    VELSimulatedHandle _handle;
};

} // namespace

std::unique_ptr<VELDiskSession> VELSimulatedDisks::createSession() const {
    ++counts.sessions;
    return sessionAvailable ? std::make_unique<Session>(*this) : nullptr;
}

std::optional<std::vector<VELMount>> VELSimulatedDisks::mountTable() const {
    ++counts.mountTables;
    if (!mounts) {
        return std::nullopt;
    }
    std::vector<VELMount> table;
    for (const VELSimulatedMount& mount : *mounts) {
        table.push_back({mount.fileSystemType, mount.mountPoint, mount.device});
    }
    return table;
}
