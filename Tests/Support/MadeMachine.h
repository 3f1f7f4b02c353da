// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Support/TemporaryFolder.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// A tree of /proc and /sys as the kernel of a machine would show it, for tests and benchmarks.
class MadeMachine {
public:
    MadeMachine() { std::filesystem::create_directories(below({})); }

    [[nodiscard]] std::string root() const { return _folder.path(); }

    /// A disk at `path` below /sys/devices, whose last part is its name.
    void disk(std::string_view number, const std::string& path, bool removable = false) const {
        device(number, path);
        attribute(path, "removable", removable ? "1" : "0");
        std::filesystem::create_directories(below(path) / "slaves");
    }

    /// A partition of the disk at `path`.
    void partition(std::string_view number, const std::string& path,
                   const std::string& name) const {
        device(number, path + "/" + name);
        attribute(path + "/" + name, "partition", "1");
    }

    /// A device over others, such as "dm-0" or "md0"; `uuid` empty: no device-mapper uuid.
    void stacked(std::string_view number, const std::string& name, std::string_view uuid,
                 const std::vector<std::string>& over) const {
        const std::string path = "virtual/block/" + name;
        disk(number, path);
        if (!uuid.empty()) {
            attribute(path, "dm/uuid", uuid);
        }
        for (const std::string& slave : over) {
            link(path + "/slaves/" + std::filesystem::path(slave).filename().string(), slave);
        }
    }

    void attribute(const std::string& path, std::string_view name, std::string_view text) const {
        _folder.write("sys/devices/" + path + "/" + std::string(name), std::string(text) + "\n");
    }

    /// A link at `path` to `target`, both below /sys/devices; as in sysfs it is a relative one.
    void link(const std::string& path, const std::string& target) const {
        linkTo(_folder.place("sys/devices/" + path), target);
    }

    /// The file system with this id has these devices.
    void btrfs(const std::string& id, const std::vector<std::string>& devices) const {
        for (const std::string& device : devices) {
            linkTo(_folder.place("sys/fs/btrfs/" + id + "/devices/" +
                                 std::filesystem::path(device).filename().string()),
                   device);
        }
    }

    /// Mounts what is at `number`, in the mount table's own escapes.
    void mount(std::string_view number, std::string_view mountPoint, std::string_view type,
               std::string_view options = "rw", std::string_view source = "source") {
        _mountInfo += "30 1 " + std::string(number) + " / " + std::string(mountPoint) +
                      " rw,relatime shared:1 - " + std::string(type) + " " + std::string(source) +
                      " " + std::string(options) + "\n";
        writeMountInfo(_mountInfo);
    }

    /// The same without writing the table after each.
    void addMount(const std::string& line) { _mountInfo += line; }
    void writeMountInfo() const { writeMountInfo(_mountInfo); }
    void writeMountInfo(std::string_view text) const { _folder.write("proc/self/mountinfo", text); }

private:
    [[nodiscard]] std::filesystem::path below(const std::string& path) const {
        return _folder.path() + "/sys/devices/" + path;
    }

    void device(std::string_view number, const std::string& path) const {
        attribute(path, "ro", "0");
        linkTo(_folder.place("sys/dev/block/" + std::string(number)), path);
    }

    void linkTo(const std::filesystem::path& place, const std::string& target) const {
        std::filesystem::create_symlink(below(target).lexically_relative(place.parent_path()),
                                        place);
    }

    TemporaryFolder _folder;
    std::string _mountInfo;
};
