// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// The value of a variable after a shell has read `text`, a file of assignments: quotes and escapes
/// removed, comments skipped, the last assignment counts. Absent: it is never assigned, its value
/// needs an expansion ("$", "`", "~"), or the text is malformed (a quote that is not closed,
/// an operator, a NUL).
std::optional<std::string> shellVariable(std::string_view text, std::string_view name);

} // namespace vel
