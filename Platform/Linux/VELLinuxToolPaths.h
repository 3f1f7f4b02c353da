// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELPOSIXTask.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

/// The executables that stand for tools of macOS on Linux: helper programs of this project in one
/// folder, libexec/vel_device_trust.
namespace vel {

/// The executable for the tool that macOS has at `tool`; `tool` itself when there is none for it.
/// It is in the first of `linuxToolFolders` that has a file of its name; found nowhere, it is at
/// its place in an installation. `linuxToolObjection` says whether it may be run.
std::string linuxToolPath(std::string_view tool);

/// The same, looked for in `folders`, of which those that are not absolute are passed over; found
/// nowhere, it is in the last one. The links on the way to the folder that has it are resolved.
std::string linuxToolPath(std::string_view tool, const std::vector<std::string>& folders);

/// Where the helpers may be: at their places relative to the folder that this code was loaded from
/// (the library's, or the program's that it is linked into), as an installation and the build tree
/// lay them out, so that either can be moved; last, where the installation was configured to be. A
/// process that was started with raised rights (set-user-ID) has the last one alone. No variable of
/// the environment is asked.
std::vector<std::string> linuxToolFolders();

/// Who runs a helper: what it is compared with.
struct ToolUser {
    /// The file that this code was loaded from, an absolute path without links. Empty: unknown, or
    /// not to be relied on, so that every folder above a helper is looked at.
    std::string ownFile;
    uid_t effectiveUser;
};
ToolUser thisToolUser();

/// Why the helper at `path` must not be run, naming the file or folder; empty: it may be. The rule:
/// nobody may change a helper who could not change `ownFile` as well. Looked at are the helper and
/// the folders below the deepest one that holds `ownFile` too. Each
/// - belongs to root, the effective user, or an owner of `ownFile` or of a folder above it;
/// - may not be written by everybody, but for sticky folders;
/// - may be written by its group only where the effective user is not root, the group is root's, or
///   it may write `ownFile` or a folder above it as well.
std::string linuxToolObjection(const std::string& path, const ToolUser& user = thisToolUser());

/// How a helper is run: not when there is an objection, and by a process with raised rights in an
/// environment of a few fixed variables, since foreign code in a helper may obey others.
VELPOSIXTask::Options linuxToolOptions();

/// The file that holds this code. Nothing when it was loaded by a relative path: what that meant
/// then is not known now.
std::optional<std::string> fileOfThisCode();

} // namespace vel
