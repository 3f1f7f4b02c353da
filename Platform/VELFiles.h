// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

/// The files that checks name, by absolute path.
class VELFiles {
public:
    virtual ~VELFiles() = default;

    /// Whether something is there. A path that may not be looked at is not there.
    [[nodiscard]] virtual bool exists(const std::string& path) const = 0;

    /// The file's bytes. Absent: it is not there, is no regular file, may not be read, reading
    /// fails, or it is larger than a property list may be. An empty file is empty, not absent.
    [[nodiscard]] virtual std::optional<std::string> read(const std::string& path) const = 0;
};
