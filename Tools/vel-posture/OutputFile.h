// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// Who may read a file: everybody, less the umask, or its owner alone.
enum class FileReaders { everybody, owner };

/// Replaces the file `path` by a new one with this content, in one step: a reader sees the old
/// content or the new one, also if the machine stops. Throws `ProgramFailure`; the old file is then
/// as it was.
void replaceFile(const std::string& path, std::string_view content,
                 FileReaders readers = FileReaders::everybody);
