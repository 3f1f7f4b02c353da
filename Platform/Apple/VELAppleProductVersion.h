// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELFiles.h"

#include <optional>
#include <string>

namespace vel {

/// The version of macOS, from its record among `files`. Absent: no record, one that cannot be read
/// or is no property list, or one whose "ProductVersion" is no text.
///
/// The system shows an older version (10.16) to a program that was built with the tools of macOS
/// 10.15 or before.
std::optional<std::string> appleProductVersion(const VELFiles& files);

} // namespace vel
