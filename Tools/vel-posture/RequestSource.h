// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

/// The key under which requests list their checks.
inline constexpr const char* platformIdentifier = "mac";

/// The content of a request file, or of standard input for "-" or no path. Throws
/// `ProgramFailure`.
std::string readRequest(const std::optional<std::string>& path);

/// How diagnostics call it: the path in quotes, or "standard input".
std::string nameOfRequest(const std::optional<std::string>& path);
