// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxToolPaths.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel {
namespace {

struct StandIn {
    std::string_view tool;
    std::string_view name;
};

constexpr std::array standIns = {
    StandIn{"/usr/libexec/ApplicationFirewall/socketfilterfw", "firewall-state"},
    StandIn{"/usr/sbin/dsconfigad", "domain-binding"},
    StandIn{"/bin/ps", "process-listing"},
    StandIn{"/usr/bin/codesign", "code-signature"},
    StandIn{"/usr/bin/openssl", "certificate-subject"},
    StandIn{"/usr/bin/security", "keychain-contents"},
};

bool isClosedToOthers(const std::string& path, mode_t kind) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && (status.st_mode & S_IFMT) == kind &&
           (status.st_mode & S_IWOTH) == 0;
}

bool holds(const std::string& folder, const std::string& file) {
    return folder.starts_with('/') && isClosedToOthers(folder, S_IFDIR) &&
           isClosedToOthers(file, S_IFREG) && ::access(file.c_str(), X_OK) == 0;
}

} // namespace

std::string linuxToolPath(std::string_view tool) {
    return linuxToolPath(tool, linuxToolFolders());
}

std::string linuxToolPath(std::string_view tool, const std::vector<std::string>& folders) {
    const auto* standIn = std::ranges::find(standIns, tool, &StandIn::tool);
    if (standIn == standIns.end() || folders.empty()) {
        return std::string(tool);
    }
    const auto fileIn = [standIn](const std::string& folder) {
        return folder + "/" + std::string(standIn->name);
    };
    const auto found = std::ranges::find_if(
        folders, [&fileIn](const auto& folder) { return holds(folder, fileIn(folder)); });
    return fileIn(found == folders.end() ? folders.back() : *found);
}

std::vector<std::string> linuxToolFolders() {
    std::vector<std::string> folders;
    const auto code = folderOfThisCode();
    for (const char* relative :
         {VEL_TOOLS_FROM_LIBRARY, VEL_TOOLS_FROM_PROGRAM, "../libexec/vel_device_trust"}) {
        std::error_code missing;
        const auto folder = code ? std::filesystem::canonical(*code + "/" + relative, missing) : "";
        if (code && !missing && std::ranges::find(folders, folder.native()) == folders.end()) {
            folders.push_back(folder);
        }
    }
    folders.emplace_back(VEL_TOOLS_INSTALLED);
    return folders;
}

std::optional<std::string> folderOfThisCode() {
    // A main program has no name there, and argv may say anything: the kernel knows.
    Dl_info information{};
    link_map* object = nullptr;
    const auto* here = reinterpret_cast<const void*>(&folderOfThisCode);
    if (::dladdr1(here, &information, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0 ||
        object == nullptr || object->l_name == nullptr) {
        return std::nullopt;
    }
    std::error_code unreadable;
    const std::filesystem::path path =
        *object->l_name == '\0' ? std::filesystem::read_symlink("/proc/self/exe", unreadable)
                                : std::filesystem::path(object->l_name);
    return path.is_absolute() ? std::optional(path.parent_path().string()) : std::nullopt;
}

} // namespace vel
