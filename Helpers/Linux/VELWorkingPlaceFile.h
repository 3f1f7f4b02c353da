// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// The file that the code-signature tool and the subject tool find open as descriptor 3: how the
/// first hands a certificate to the second.
namespace vel {

/// Empties the file. False: there is no such file, or it cannot be written to.
bool clearWorkingPlace();

/// Makes `bytes` the content of the file. On failure it is empty, if it can be emptied at all.
bool writeWorkingPlace(std::string_view bytes);

/// The content of the file. Absent: there is no such file, it cannot be read, or it is larger than
/// a certificate may be.
std::optional<std::string> readWorkingPlace();

} // namespace vel
