// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vel {

/// Whether `pattern` fits somewhere in `text`: its characters stand for themselves, "*" for any run
/// of characters within one line, the empty one included. Both are compared by their full case
/// folding, and a match begins and ends between characters of the text: never within the folding of
/// one ("ss" fits "ß", "s" does not). The empty pattern fits nothing.
///
/// Takes time and memory linear in the two lengths together, whatever they hold. Bytes that are not
/// UTF-8 count as U+FFFD.
bool matchesWildcard(std::string_view pattern, std::string_view text);

} // namespace vel
