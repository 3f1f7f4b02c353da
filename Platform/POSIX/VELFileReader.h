// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

namespace vel {

/// No file that the platforms read (records, preferences, firmware texts) is longer.
inline constexpr std::size_t maximumFileBytes = std::size_t{1} << 20U;

enum class FileStatus {
    read,
    missing,    // no file has that name, or none can have it
    unreadable, // it is there, but may not be read, is no regular file, or fails while it is read
    tooLarge,
};

struct FileContents {
    FileStatus status;
    std::string bytes; // empty unless read
};

/// Reads a whole regular file, following symbolic links. Never waits for a writer: pipes, sockets,
/// devices and directories are unreadable. Memory stays bounded by `maximumBytes`, whatever size
/// the file reports.
FileContents readFile(const std::string& path, std::size_t maximumBytes = maximumFileBytes);

} // namespace vel
