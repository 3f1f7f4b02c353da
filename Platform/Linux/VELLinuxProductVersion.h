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

/// The value of VERSION_ID after a shell has read `text`: quotes and escapes taken off, comments
/// skipped, the last assignment counts. Absent: there is none, it is empty, it is not UTF-8, it
/// would need an expansion ("$", "`", "~"), or the text is none of assignments (a quote that is not
/// closed, an operator, a NUL).
std::optional<std::string> versionFromOSRelease(std::string_view text);

} // namespace vel
