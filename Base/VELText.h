// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions over text in UTF-8. None depends on the locale.
namespace vel {

/// Whether `text` is valid UTF-8 (no surrogates, no overlong forms, nothing above U+10FFFF).
bool isValidUTF8(std::string_view text);

/// `text` with every byte that is not part of a valid UTF-8 sequence replaced by U+FFFD.
std::string validUTF8(std::string_view text);

/// `text` in lower case by the full Unicode mapping, without the rule for a sigma at the end of a
/// word. Bytes that are not UTF-8 are replaced as by `validUTF8`.
std::string lowercase(std::string_view text);

/// Compares two texts from the left: where both are at an ASCII digit, the whole runs of digits by
/// their numeric value, of any length and leading zeros aside; everything else by UTF-16 code unit.
/// The shorter one orders first when it is a prefix of the other. ("9" < "10", "1.01" == "1.1",
/// "10.15" < "10.15.0".)
std::weak_ordering compareNumerically(std::string_view left, std::string_view right);

/// The decimal integer at the start of `text`: white space skipped, an optional sign, then ASCII
/// digits up to the first other character. 0 without digits; saturates at the limits of 64 bits.
std::int64_t integerValue(std::string_view text);

/// The pieces of `text` between the separators, in order; empty pieces are kept, and a text without
/// one is one piece.
std::vector<std::string_view> split(std::string_view text, char separator);

/// `text` without its line-break characters: U+000A to U+000D, U+0085, U+2028 and U+2029.
std::string withoutLineBreaks(std::string_view text);

} // namespace vel
