// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The version of the distribution: VERSION_ID of its release file, which is "/etc/os-release" or,
/// only where that does not exist, "/usr/lib/os-release".
class VELLinuxProductVersion {
public:
    /// `root` stands before the absolute paths that are read, empty for the machine itself.
    explicit VELLinuxProductVersion(std::string root = {});

    /// Absent: no release file, one that exists but cannot be read, or one without a version.
    [[nodiscard]] std::optional<std::string> read() const;

private:
    std::string _root;
};

namespace vel {

/// VERSION_ID in a release file. Absent: `shellVariable` finds none, or it is empty or not UTF-8.
std::optional<std::string> versionFromOSRelease(std::string_view text);

} // namespace vel
