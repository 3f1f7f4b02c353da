// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxProductVersion.h"

#include "Base/VELShellVariable.h"
#include "Base/VELText.h"
#include "Platform/POSIX/VELFileReader.h"

#include <utility>

std::optional<std::string> vel::versionFromOSRelease(std::string_view text) {
    auto version = shellVariable(text, "VERSION_ID");
    const bool isVersion = version && !version->empty() && isValidUTF8(*version);
    return isVersion ? std::move(version) : std::nullopt;
}

VELLinuxProductVersion::VELLinuxProductVersion(std::string root) : _root(std::move(root)) {}

std::optional<std::string> VELLinuxProductVersion::read() const {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        const vel::FileContents file = vel::readFile(_root + path);
        if (file.status == vel::FileStatus::read) {
            return vel::versionFromOSRelease(file.bytes);
        }
        if (file.status != vel::FileStatus::missing) {
            return std::nullopt;
        }
    }
    return std::nullopt;
}
