// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The executables that stand for tools of macOS on Linux: helper programs of this project in one
/// folder, libexec/vel_device_trust.
namespace vel {

/// The executable for the tool that macOS has at `tool`; `tool` itself when there is none for it.
/// The first of `linuxToolFolders` that holds it counts, provided that neither the folder nor the
/// file may be written by everybody. Found nowhere, the answer is its place in an installation.
std::string linuxToolPath(std::string_view tool);

/// The same, looked for in `folders`, of which those that are not absolute are passed over; found
/// nowhere, it is in the last one.
std::string linuxToolPath(std::string_view tool, const std::vector<std::string>& folders);

/// Where the helpers may be: at their places relative to the folder that this code was loaded from
/// (the library's, or the program's that it is linked into), as an installation and the build tree
/// lay them out, so that either can be moved; last, where the installation was configured to be.
/// No variable of the environment is asked.
std::vector<std::string> linuxToolFolders();

/// The folder that the object with this code was loaded from. Nothing when it was loaded by a
/// relative path: what that meant then is not known now.
std::optional<std::string> folderOfThisCode();

} // namespace vel
