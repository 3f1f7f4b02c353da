// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Replaces the file `path` by one with this content, in one step: a reader sees the old content or
/// the new one, also if the machine stops. Everybody may read a file that is new, less the umask.
/// Throws `ProgramFailure`; the old file is then as it was.
void replaceFile(const std::string& path, std::string_view content);
