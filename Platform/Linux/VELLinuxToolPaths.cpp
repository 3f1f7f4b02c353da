// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxToolPaths.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <filesystem>
#include <link.h>
#include <set>
#include <sys/auxv.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel {
namespace {

namespace fs = std::filesystem;

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

bool hasRaisedRights() {
    return ::getauxval(AT_SECURE) != 0;
}

bool exists(const std::string& file) {
    struct stat status {};
    return ::lstat(file.c_str(), &status) == 0;
}

/// "/", "/a", "/a/b" for "/a/b".
std::vector<std::string> entriesOf(const fs::path& path) {
    std::vector<std::string> entries;
    fs::path entry;
    for (const auto& name : path) {
        entries.push_back((entry /= name).native());
    }
    return entries;
}

/// Who may change a file, or put another in its place.
struct Writers {
    std::set<uid_t> owners;
    std::set<gid_t> groups;
};

Writers writersOf(const std::vector<std::string>& entries) {
    Writers writers;
    for (const auto& entry : entries) {
        struct stat status {};
        if (::lstat(entry.c_str(), &status) == 0) {
            writers.owners.insert(status.st_uid);
            if ((status.st_mode & S_IWGRP) != 0 && (status.st_mode & S_ISVTX) == 0) {
                writers.groups.insert(status.st_gid);
            }
        }
    }
    return writers;
}

std::string objectionToEntry(const std::string& entry, const Writers& trusted, uid_t user) {
    const std::string who = "helper not trusted: \"" + entry + "\" ";
    struct stat status {};
    if (::lstat(entry.c_str(), &status) != 0) {
        return who + "cannot be looked at";
    }
    if (status.st_uid != 0 && status.st_uid != user && !trusted.owners.contains(status.st_uid)) {
        return who + "belongs to user " + std::to_string(status.st_uid);
    }
    if (S_ISLNK(status.st_mode)) {
        return {}; // its mode means nothing
    }
    // The next entry of a sticky folder is its owner's, who is looked at in turn.
    const bool isSticky = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    if ((status.st_mode & S_IWOTH) != 0 && !isSticky) {
        return who + "may be written by everybody";
    }
    if ((status.st_mode & S_IWGRP) != 0 && user == 0 && status.st_gid != 0 &&
        !trusted.groups.contains(status.st_gid)) {
        return who + "may be written by group " + std::to_string(status.st_gid);
    }
    return {};
}

std::string objectionToFile(const fs::path& path, const ToolUser& user) {
    const auto own = entriesOf(user.ownFile);
    const auto entries = entriesOf(path);
    const Writers trusted = writersOf(own);
    for (auto entry = std::ranges::mismatch(entries, own).in1; entry != entries.end(); ++entry) {
        if (auto objection = objectionToEntry(*entry, trusted, user.effectiveUser);
            !objection.empty()) {
            return objection;
        }
    }
    return {};
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
    const auto found = std::ranges::find_if(folders, [&fileIn](const auto& folder) {
        return folder.starts_with('/') && exists(fileIn(folder));
    });
    std::error_code missing;
    const auto folder = found == folders.end() ? fs::path() : fs::canonical(*found, missing);
    return fileIn(folder.empty() ? folders.back() : folder.native());
}

std::vector<std::string> linuxToolFolders() {
    std::vector<std::string> folders;
    const auto code = hasRaisedRights() ? std::nullopt : fileOfThisCode();
    for (const char* relative :
         {VEL_TOOLS_FROM_LIBRARY, VEL_TOOLS_FROM_PROGRAM, "../libexec/vel_device_trust"}) {
        if (code) {
            folders.push_back(fs::path(*code).parent_path() / relative);
        }
    }
    folders.emplace_back(VEL_TOOLS_INSTALLED);
    return folders;
}

ToolUser thisToolUser() {
    const auto code = hasRaisedRights() ? std::nullopt : fileOfThisCode();
    std::error_code unreadable;
    const fs::path file = code ? fs::canonical(*code, unreadable) : fs::path();
    return {unreadable ? code.value_or("") : file.native(), ::geteuid()};
}

std::string linuxToolObjection(const std::string& path, const ToolUser& user) {
    // Links on the way to the helper's folder are followed; the helper may be one itself.
    std::error_code missing;
    const fs::path entry =
        fs::canonical(fs::path(path).parent_path(), missing) / fs::path(path).filename();
    const bool isLink = !missing && fs::is_symlink(fs::symlink_status(entry, missing));
    const fs::path file = isLink ? fs::canonical(entry, missing) : entry;
    if (missing) {
        return "launch path not accessible";
    }
    auto objection = objectionToFile(entry, user);
    return objection.empty() && file != entry ? objectionToFile(file, user) : objection;
}

VELPOSIXTask::Options linuxToolOptions() {
    VELPOSIXTask::Options options;
    options.objection = [](const std::string& path) { return linuxToolObjection(path); };
    if (hasRaisedRights()) {
        options.environment = {"PATH=/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL=C"};
    }
    return options;
}

std::optional<std::string> fileOfThisCode() {
    // A main program has no name there, and argv may say anything: the kernel knows.
    Dl_info information{};
    link_map* object = nullptr;
    const auto* here = reinterpret_cast<const void*>(&fileOfThisCode);
    if (::dladdr1(here, &information, reinterpret_cast<void**>(&object), RTLD_DL_LINKMAP) == 0 ||
        object == nullptr || object->l_name == nullptr) {
        return std::nullopt;
    }
    std::error_code unreadable;
    const fs::path path = *object->l_name == '\0' ? fs::read_symlink("/proc/self/exe", unreadable)
                                                  : fs::path(object->l_name);
    return path.is_absolute() ? std::optional(path.string()) : std::nullopt;
}

} // namespace vel
