// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxBlockDevices.h"

#include "Base/VELText.h"
#include "Platform/POSIX/VELFileReader.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <utility>

namespace {

using Path = std::filesystem::path;
using vel::isEncryptingMapping;
using vel::isVerityMapping;

// Stacks of mappings are a handful deep; deeper ones are not followed, and count as unencrypted.
constexpr std::size_t greatestDepth = 64;

/// The text of an attribute, without its line end. Empty: it is not there or cannot be read.
std::string attribute(const Path& file) {
    std::string text = vel::readFile(file, 4096).bytes;
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return text;
}

std::optional<Path> resolved(const Path& path) {
    const std::unique_ptr<char, decltype(&std::free)> found(::realpath(path.c_str(), nullptr),
                                                            &std::free);
    return found != nullptr ? std::optional<Path>(found.get()) : std::nullopt;
}

/// The folders that the entries of `folder` lead to, in the order of their names. Absent: the
/// folder cannot be read, or one of its entries leads nowhere.
std::optional<std::vector<Path>> targets(const Path& folder) {
    std::error_code error;
    std::set<Path> names;
    std::filesystem::directory_iterator entry(folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        names.insert(entry->path());
    }
    std::vector<Path> found;
    for (const Path& name : names) {
        std::optional<Path> target = resolved(name);
        if (!target) {
            return std::nullopt;
        }
        found.push_back(std::move(*target));
    }
    return error ? std::nullopt : std::optional(std::move(found));
}

bool isThere(const Path& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

/// The disk that a partition is part of; of anything else the device itself.
Path wholeDevice(const Path& device) {
    return isThere(device / "partition") ? device.parent_path() : device;
}

/// Walks down from volumes to the disks that they are on. What is below a device is looked up once.
class Stack {
public:
    explicit Stack(Path allDevices) : _allDevices(std::move(allDevices)) {}

    VELLinuxStorage storageOf(const std::vector<Path>& devices) {
        VELLinuxStorage storage;
        storage.encrypted = everyWayCrosses(devices, isEncryptingMapping);
        storage.sealed = everyWayCrosses(devices, isVerityMapping);
        storage.readOnly = std::ranges::all_of(
            devices, [](const Path& device) { return attribute(device / "ro") == "1"; });
        const VELLinuxBus bus = busBelow(devices);
        storage.internal = bus.internal;
        storage.protocol = bus.protocol;
        return storage;
    }

private:
    using IsMapping = bool (*)(std::string_view uuid);
    using Known = std::map<Path, bool>;

    struct Device {
        Path whole;          // the disk that a partition is part of
        std::string mapping; // its device-mapper uuid, empty without one
        // None below a disk. Absent: they cannot be found out.
        std::optional<std::vector<Path>> below;
    };

    const Device& deviceAt(const Path& path) {
        const auto [entry, isNew] = _devices.try_emplace(path);
        Device& device = entry->second;
        if (isNew) {
            device.whole = wholeDevice(path);
            device.mapping = attribute(device.whole / "dm" / "uuid");
            const Path slaves = device.whole / "slaves";
            device.below = isThere(slaves) ? targets(slaves) : std::vector<Path>();
        }
        return device;
    }

    bool everyWayCrosses(const std::vector<Path>& devices, IsMapping isMapping) {
        Known known;
        return !devices.empty() && std::ranges::all_of(devices, [&](const Path& device) {
            return everyWayCrosses(device, isMapping, known, 0);
        });
    }

    bool everyWayCrosses(const Path& device, IsMapping isMapping, Known& known, std::size_t depth) {
        // A device that is met again on its own way down leads to no disk: nothing is crossed.
        const auto [entry, isNew] = known.emplace(device, false);
        if (isNew && depth < greatestDepth) {
            entry->second = crosses(device, isMapping, known, depth);
        }
        return entry->second;
    }

    bool crosses(const Path& path, IsMapping isMapping, Known& known, std::size_t depth) {
        const Device& device = deviceAt(path);
        if (isMapping(device.mapping)) {
            return true;
        }
        const auto& below = device.below;
        return below && !below->empty() && std::ranges::all_of(*below, [&](const Path& next) {
                   return everyWayCrosses(next, isMapping, known, depth + 1);
               });
    }

    /// The bus of the first internal disk below, else of the first disk. Without any: internal.
    [[nodiscard]] VELLinuxBus busBelow(const std::vector<Path>& devices) {
        std::optional<VELLinuxBus> first;
        std::set<Path> seen;
        std::vector<Path> open(devices.rbegin(), devices.rend());
        while (!open.empty()) {
            const Path path = open.back();
            open.pop_back();
            if (!seen.insert(path).second) {
                continue;
            }
            const Device& device = deviceAt(path);
            const auto& below = device.below;
            if (below && !below->empty()) {
                open.insert(open.end(), below->rbegin(), below->rend());
                continue;
            }
            const VELLinuxBus bus =
                below ? vel::busOfDisk(textsOfDisk(device.whole)) : VELLinuxBus{};
            if (bus.internal) {
                return bus;
            }
            first = first ? first : bus;
        }
        return first.value_or(VELLinuxBus{});
    }

    [[nodiscard]] VELLinuxDiskTexts textsOfDisk(const Path& disk) const {
        VELLinuxDiskTexts texts;
        texts.path = disk.lexically_relative(_allDevices);
        texts.removable = attribute(disk / "removable");
        texts.cardType = attribute(disk / "device" / "type");
        if (disk.filename().string().starts_with("nvme")) {
            texts.transports = transportsOfDisk(disk);
        }
        return texts;
    }

    /// A disk of several controllers belongs to a subsystem whose folder links to all of them.
    static std::vector<std::string> transportsOfDisk(const Path& disk) {
        const Path owner = disk / "device";
        if (isThere(owner / "transport")) {
            return {attribute(owner / "transport")};
        }
        std::vector<std::string> transports;
        std::error_code error;
        std::filesystem::directory_iterator entry(owner, error);
        for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
            if (isThere(entry->path() / "transport")) {
                transports.push_back(attribute(entry->path() / "transport"));
            }
        }
        std::ranges::sort(transports);
        return transports;
    }

    Path _allDevices;
    std::map<Path, Device> _devices;
};

bool startsWithAny(std::string_view text, std::initializer_list<std::string_view> openings) {
    return std::ranges::any_of(
        openings, [text](std::string_view opening) { return text.starts_with(opening); });
}

/// `word` and a number: "ata12" for "ata".
bool isNumbered(std::string_view name, std::string_view word) {
    if (!name.starts_with(word) || name.size() == word.size()) {
        return false;
    }
    name.remove_prefix(word.size());
    return std::ranges::all_of(name, [](char digit) { return digit >= '0' && digit <= '9'; });
}

VELLinuxBus busOfNVMe(const std::vector<std::string>& transports) {
    const auto is = [](std::string_view transport) {
        return [transport](const std::string& candidate) { return candidate == transport; };
    };
    if (std::ranges::any_of(transports, is("pcie"))) {
        return {true, "PCI"};
    }
    if (!transports.empty() && std::ranges::all_of(transports, is("tcp"))) {
        return {false, "TCP"};
    }
    if (!transports.empty() && std::ranges::all_of(transports, is("fc"))) {
        return {false, "Fibre Channel Interface"};
    }
    return {};
}

} // namespace

namespace vel {

bool isEncryptingMapping(std::string_view uuid) {
    return startsWithAny(uuid, {"CRYPT-LUKS", "CRYPT-PLAIN-", "CRYPT-BITLK-", "CRYPT-TCRYPT-",
                                "CRYPT-FVAULT2-", "CRYPT-LOOPAES-"});
}

bool isVerityMapping(std::string_view uuid) {
    return uuid.starts_with("CRYPT-VERITY-");
}

VELLinuxBus busOfDisk(const VELLinuxDiskTexts& disk) {
    const std::vector<std::string_view> folders = split(disk.path, '/');
    const auto sitsOn = [&folders](std::string_view bus) {
        return std::ranges::any_of(
            folders, [bus](std::string_view folder) { return isNumbered(folder, bus); });
    };
    const std::string_view name = folders.back();
    if (isNumbered(name, "loop") || isNumbered(name, "zram") || isNumbered(name, "nbd")) {
        return {false, "Virtual Interface"};
    }
    const bool fixed = disk.removable != "1";
    if (sitsOn("usb")) {
        return {false, "USB"};
    }
    if (name.starts_with("nvme")) {
        return busOfNVMe(disk.transports);
    }
    if (sitsOn("ata")) {
        return {fixed, "SATA"};
    }
    if (sitsOn("virtio")) {
        return {fixed, "Virtual"};
    }
    if (name.starts_with("mmcblk")) {
        return {fixed && disk.cardType != "SD", disk.cardType == "MMC" ? "MMC" : "Secure Digital"};
    }
    return {fixed, std::nullopt};
}

} // namespace vel

VELLinuxBlockDevices::VELLinuxBlockDevices(std::string root) : _root(std::move(root)) {}

std::optional<VELLinuxStorage> VELLinuxBlockDevices::storageOfDevice(unsigned major,
                                                                     unsigned minor) const {
    const std::string number = std::to_string(major) + ":" + std::to_string(minor);
    const std::optional<Path> allDevices = resolved(_root + "/sys/devices");
    const std::optional<Path> device = resolved(_root + "/sys/dev/block/" + number);
    if (!allDevices || !device) {
        return std::nullopt;
    }
    return Stack(*allDevices).storageOf({*device});
}

std::optional<VELLinuxStorage> VELLinuxBlockDevices::storageOfBtrfs(std::string_view id,
                                                                    std::size_t deviceCount) const {
    const std::optional<Path> allDevices = resolved(_root + "/sys/devices");
    const auto devices = targets(_root + "/sys/fs/btrfs/" + std::string(id) + "/devices");
    if (!allDevices || !devices || devices->empty() || devices->size() != deviceCount) {
        return std::nullopt;
    }
    return Stack(*allDevices).storageOf(*devices);
}
