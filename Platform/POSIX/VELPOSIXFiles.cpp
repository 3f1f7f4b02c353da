// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELPOSIXFiles.h"

#include "Platform/POSIX/VELFileReader.h"

#include <sys/stat.h>
#include <utility>

VELPOSIXFiles::VELPOSIXFiles(std::string root) : _root(std::move(root)) {}

bool VELPOSIXFiles::exists(const std::string& path) const {
    // The system would read such a name up to its NUL, and find another file.
    if (path.find('\0') != std::string::npos) {
        return false;
    }
    struct stat status {};
    return ::stat((_root + path).c_str(), &status) == 0;
}

std::optional<std::string> VELPOSIXFiles::read(const std::string& path) const {
    vel::FileContents file = vel::readFile(_root + path);
    if (file.status != vel::FileStatus::read) {
        return std::nullopt;
    }
    return std::move(file.bytes);
}
