// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vel {

/// `text` on one line of valid UTF-8: a byte of a control character, or one that is not UTF-8, is
/// written "\xHH". For names and paths that somebody else has chosen.
std::string printableText(std::string_view text);

} // namespace vel
