// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPreferences.h"

#include "Base/VELPropertyList.h"
#include "Platform/POSIX/VELFileReader.h"

#include <cerrno>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <pwd.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

constexpr const char* preferencesFolder = "/vel_device_trust/preferences/";

bool namesApplication(std::string_view applicationID) {
    return !applicationID.empty() && applicationID != "." && applicationID != ".." &&
           applicationID.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/// The value under `key` in the application's file in `folder`.
std::optional<VELValue> storedValue(const std::string& folder, std::string_view applicationID,
                                    std::string_view key) {
    if (!namesApplication(applicationID)) {
        return std::nullopt;
    }
    const vel::FileContents file = vel::readFile(folder + std::string(applicationID) + ".plist",
                                                 vel::maximumPropertyListBytes);
    if (file.status != vel::FileStatus::read) {
        return std::nullopt;
    }
    std::optional<VELValue> store = vel::readPropertyList(file.bytes, nullptr);
    if (!store || !store->is_object()) {
        return std::nullopt;
    }
    const auto value = store->find(key);
    return value != store->end() ? std::optional(std::move(*value)) : std::nullopt;
}

std::optional<std::string> absolutePath(const char* path) {
    return path != nullptr && *path == '/' ? std::optional<std::string>(path) : std::nullopt;
}

/// The home folder of the effective user, with whose rights files are read.
std::optional<std::string> homeFolderOfAccount() {
    constexpr std::size_t maximumBuffer = std::size_t{1} << 20U;
    for (std::size_t size = 1024; size <= maximumBuffer; size *= 2) {
        std::vector<char> buffer(size);
        passwd account{};
        passwd* found = nullptr;
        int status = 0;
        do {
            status = ::getpwuid_r(::geteuid(), &account, buffer.data(), buffer.size(), &found);
        } while (status == EINTR);
        if (status != ERANGE) {
            return found != nullptr ? absolutePath(found->pw_dir) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace

VELLinuxPreferences::VELLinuxPreferences(std::string root, Folder userConfiguration)
    : _machineFolder(std::move(root) + "/etc" + preferencesFolder),
      _userConfiguration(std::move(userConfiguration)) {}

std::optional<VELValue> VELLinuxPreferences::copyValue(std::string_view key,
                                                       std::string_view applicationID,
                                                       VELPreferencesScope scope) const {
    if (scope == VELPreferencesScope::anyUser) {
        return storedValue(_machineFolder, applicationID, key);
    }
    const auto configuration = _userConfiguration();
    return configuration ? storedValue(*configuration + preferencesFolder, applicationID, key)
                         : std::nullopt;
}

VELPreferences::IntegerValue
VELLinuxPreferences::appIntegerValue(std::string_view key, std::string_view applicationID) const {
    const auto value = storedValue(_machineFolder, applicationID, key);
    return integerValue(value ? &*value : nullptr);
}

std::optional<std::string> VELLinuxPreferences::userConfigurationFolder() {
    if (auto configuration = absolutePath(::secure_getenv("XDG_CONFIG_HOME"))) {
        return configuration;
    }
    auto home = absolutePath(::secure_getenv("HOME"));
    if (!home) {
        home = homeFolderOfAccount();
    }
    return home ? std::optional(*home + "/.config") : std::nullopt;
}
