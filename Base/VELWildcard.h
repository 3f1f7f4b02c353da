// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vel {

/// Whether `pattern` matches anywhere in `text`: "*" matches any run of characters within one line,
/// also an empty one, and every other character itself. Both are compared by their full case
/// folding, and a match begins and ends between characters of the text, never within the folding of
/// one ("ss" matches "ß", "s" does not). The empty pattern matches nothing.
///
/// Time and memory are linear in the sum of the two lengths. Bytes that are not UTF-8 count as
/// U+FFFD.
bool matchesWildcard(std::string_view pattern, std::string_view text);

} // namespace vel
