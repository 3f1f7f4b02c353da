// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxDisks.h"

#include "Base/VELText.h"
#include "Platform/Linux/VELLinuxVolume.h"
#include "Platform/POSIX/VELFileReader.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <utility>

namespace {

// About 400,000 mounts; the kernel allows 100,000 unless it is configured otherwise.
constexpr std::size_t maximumMountTableBytes = std::size_t{64} << 20U;

std::shared_ptr<const VELValue> shared(VELValue value) {
    return std::make_shared<const VELValue>(std::move(value));
}

/// Absent: the table cannot be read or does not list every volume.
std::optional<std::vector<VELLinuxMount>> readMounts(const std::string& root) {
    const vel::FileContents file =
        vel::readFile(root + "/proc/self/mountinfo", maximumMountTableBytes);
    if (file.status != vel::FileStatus::read) {
        return std::nullopt;
    }
    auto mounts = vel::mountsInMountInfo(file.bytes);
    const bool isWhole = mounts && std::ranges::any_of(*mounts, [](const VELLinuxMount& mount) {
                             return mount.mountPoint == "/";
                         });
    return isWhole ? std::move(mounts) : std::nullopt;
}

class Media final : public VELDiskMedia {
public:
    explicit Media(std::shared_ptr<const VELLinuxVolume> volume) : _volume(std::move(volume)) {}

    [[nodiscard]] std::optional<VELValue> property(std::string_view name) const override {
        if (name == "Role") {
            return vel::isDataVolume(*_volume) ? VELValue::array({"Data"}) : VELValue::array();
        }
        if (name == "Sealed" && _volume->storage) {
            return VELValue(_volume->storage->sealed ? "Yes" : "No");
        }
        if (name == "Encrypted" && _volume->storage) {
            return VELValue(_volume->storage->encrypted);
        }
        return std::nullopt;
    }

private:
    std::shared_ptr<const VELLinuxVolume> _volume;
};

class Disk final : public VELDisk {
public:
    explicit Disk(std::shared_ptr<const VELLinuxVolume> volume) : _volume(std::move(volume)) {}

    [[nodiscard]] std::optional<VELDiskDescription> copyDescription() const override {
        VELDiskDescription description;
        description.deviceInternal = shared(!_volume->storage || _volume->storage->internal);
        if (_volume->storage && _volume->storage->protocol) {
            description.deviceProtocol = shared(*_volume->storage->protocol);
        }
        description.volumeKind = shared(vel::validUTF8(vel::volumeKind(*_volume)));
        return description;
    }

    [[nodiscard]] std::unique_ptr<VELDiskMedia> copyMedia() const override {
        return std::make_unique<Media>(_volume);
    }

private:
    std::shared_ptr<const VELLinuxVolume> _volume;
};

/// What was mounted when it was first asked.
class MountedVolumes {
public:
    explicit MountedVolumes(const VELLinuxDiskSources& sources)
        : _sources(sources), _devices(sources.root), _mounts(readMounts(sources.root)) {
        for (std::size_t index = 0; _mounts && index < _mounts->size(); ++index) {
            const VELLinuxMount& mount = (*_mounts)[index];
            MountPoint& place = _mountPoints[vel::validUTF8(mount.mountPoint)];
            place.mounts.push_back(index);
            place.answersByItself = place.answersByItself && vel::answersByItself(mount);
        }
    }

    /// Null: no volume with a disk is mounted there.
    [[nodiscard]] std::shared_ptr<const VELLinuxVolume> volumeAt(const std::string& mountPoint) {
        if (!_mounts) {
            return std::make_shared<const VELLinuxVolume>();
        }
        const auto found = _mountPoints.find(mountPoint);
        if (found == _mountPoints.end()) {
            return nullptr;
        }
        // Thousands may be mounted at one point, which is then asked for as often.
        MountPoint& place = found->second;
        if (!place.volume) {
            place.volume = volumeAmong(place.mounts);
        }
        return *place.volume;
    }

private:
    struct MountPoint {
        std::vector<std::size_t> mounts; // the uppermost last
        bool answersByItself = true;     // nothing that may hang is mounted there
        std::optional<std::shared_ptr<const VELLinuxVolume>> volume = std::nullopt;
    };

    [[nodiscard]] std::shared_ptr<const VELLinuxVolume>
    volumeAmong(const std::vector<std::size_t>& mounts) {
        std::shared_ptr<const VELLinuxVolume> uppermost;
        for (auto index = mounts.rbegin(); index != mounts.rend(); ++index) {
            auto volume = volumeOf((*_mounts)[*index]);
            if (volume != nullptr && isUnencryptedData(*volume)) {
                return volume;
            }
            uppermost = uppermost ? uppermost : volume;
        }
        return uppermost;
    }

    using DeviceNumber = std::pair<unsigned, unsigned>;

    struct Device {
        std::optional<VELLinuxStorage> storage;
        std::optional<std::string> fileSystem;
        std::optional<std::string> partitionType;
    };

    /// Whether the check would find it in scope and not encrypted.
    static bool isUnencryptedData(const VELLinuxVolume& volume) {
        const bool inScope =
            !volume.storage || (volume.storage->internal && !volume.storage->sealed);
        return inScope && vel::isDataVolume(volume) && vel::volumeKind(volume) != "ntfs" &&
               !(volume.storage && volume.storage->encrypted);
    }

    std::shared_ptr<const VELLinuxVolume> volumeOf(const VELLinuxMount& mount) {
        if (mount.major == 0 && vel::hasNoDisk(mount.fileSystemType)) {
            return nullptr;
        }
        const Device& device = deviceOf(mount);
        return std::make_shared<const VELLinuxVolume>(
            VELLinuxVolume{mount, device.storage, device.fileSystem, device.partitionType});
    }

    /// Many mounts may be of one file system: its device is looked at once.
    const Device& deviceOf(const VELLinuxMount& mount) {
        const auto [entry, isNew] = _known.try_emplace({mount.major, mount.minor});
        Device& device = entry->second;
        if (mount.major == 0) {
            // Any mount of a btrfs that is not covered gives its id, if this user may look there.
            if (!device.storage && mount.fileSystemType == "btrfs") {
                device.storage = storageOfBtrfs(mount);
            }
        } else if (isNew) {
            device.storage = _devices.storageOfDevice(mount.major, mount.minor);
            device.partitionType =
                _sources.udevProperty(mount.major, mount.minor, "ID_PART_ENTRY_TYPE");
            if (mount.fileSystemType == "fuseblk") {
                device.fileSystem = _sources.udevProperty(mount.major, mount.minor, "ID_FS_TYPE");
            }
        }
        return device;
    }

    std::optional<VELLinuxStorage> storageOfBtrfs(const VELLinuxMount& mount) const {
        if (!mayBeOpened(mount.mountPoint)) {
            return std::nullopt;
        }
        const auto information = _sources.btrfsInformation(mount.mountPoint, mount.id);
        return information ? _devices.storageOfBtrfs(information->id, information->deviceCount)
                           : std::nullopt;
    }

    /// Nothing that may hang is mounted at the path or above it; what is at "/" serves this process
    /// already.
    [[nodiscard]] bool mayBeOpened(std::string path) const {
        for (; path.size() > 1; path.resize(std::max<std::size_t>(path.rfind('/'), 1))) {
            const auto place = _mountPoints.find(vel::validUTF8(path));
            if (place != _mountPoints.end() && !place->second.answersByItself) {
                return false;
            }
        }
        return true;
    }

    const VELLinuxDiskSources& _sources;
    VELLinuxBlockDevices _devices;
    std::optional<std::vector<VELLinuxMount>> _mounts;
    std::unordered_map<std::string, MountPoint> _mountPoints;
    std::map<DeviceNumber, Device> _known;
};

class Session final : public VELDiskSession {
public:
    explicit Session(const VELLinuxDiskSources& sources) : _sources(sources) {}

    [[nodiscard]] std::unique_ptr<VELDisk>
    diskAtMountPoint(const std::string& mountPoint) const override {
        if (_volumes == nullptr) {
            _volumes = std::make_unique<MountedVolumes>(_sources);
        }
        auto volume = _volumes->volumeAt(mountPoint);
        return volume != nullptr ? std::make_unique<Disk>(std::move(volume)) : nullptr;
    }

private:
    const VELLinuxDiskSources& _sources;
    // Read when it is first asked, so that it is no older than the table that the asker has.
    mutable std::unique_ptr<MountedVolumes> _volumes;
};

} // namespace

VELLinuxDisks::VELLinuxDisks(VELLinuxDiskSources sources) : _sources(std::move(sources)) {}

std::unique_ptr<VELDiskSession> VELLinuxDisks::createSession() const {
    return std::make_unique<Session>(_sources);
}

std::optional<std::vector<VELMount>> VELLinuxDisks::mountTable() const {
    const std::optional<std::vector<VELLinuxMount>> mounts = readMounts(_sources.root);
    if (!mounts) {
        return std::nullopt;
    }
    std::vector<VELMount> table;
    table.reserve(mounts->size());
    for (const VELLinuxMount& mount : *mounts) {
        table.push_back({mount.fileSystemType, vel::validUTF8(mount.mountPoint),
                         VELMount::deviceOfSource(mount.source)});
    }
    return table;
}
