// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// The key under which requests list their checks.
inline constexpr const char* platformIdentifier = "mac";

/// The content of a request file, or of standard input for "-". Throws `ProgramFailure`.
std::string readRequest(const std::string& path);

/// How reports call a request: its path, or "standard input".
std::string nameOfRequest(const std::string& path);

/// The paths of the command line, where none is standard input. Throws `ProgramFailure` if standard
/// input is among them twice.
std::vector<std::string> requestPaths(std::vector<std::string> paths);
