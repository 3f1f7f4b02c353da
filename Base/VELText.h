// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions over text in UTF-8. None depends on the locale.
namespace vel {

/// A character as UTF-8 holds it.
struct CodePoint {
    std::int32_t value; // negative: no valid sequence begins here
    std::size_t length; // in bytes, at least 1
};

/// The character at the front of `text`, which is not empty.
CodePoint firstCodePoint(std::string_view text);

/// Adds a character to `text`.
void appendUTF8(char32_t character, std::string& text);

/// Whether a byte of UTF-8 is a continuation byte.
bool isContinuation(char byte);

/// Big-endian UTF-16 as UTF-8. Returns nullopt if a surrogate is unpaired or the last unit is
/// incomplete.
std::optional<std::string> textOfUTF16(std::string_view bytes);

bool isASCII(std::string_view text);

/// Whether `text` is valid UTF-8 (no surrogates, no overlong forms, nothing above U+10FFFF).
bool isValidUTF8(std::string_view text);

/// `text` with every byte that is not part of a valid UTF-8 sequence replaced by U+FFFD.
std::string validUTF8(std::string_view text);

/// `text` in lower case by the full Unicode mapping, including the final sigma. Bytes that are not
/// UTF-8 are replaced as by `validUTF8`.
std::string lowercase(std::string_view text);

/// The characters of `text`, each byte that is not UTF-8 as U+FFFD.
std::u32string characters(std::string_view text);

/// The full Unicode case folding of a character, possibly several characters ("ß" folds to "ss").
std::u32string foldCase(char32_t character);

/// Whether a character is a letter, a mark or a number (the categories L*, M* and N*).
bool isAlphanumeric(char32_t character);

/// Whether a character is a decimal digit of any script (the category Nd).
bool isDecimalDigit(char32_t character);

/// Whether a character ends a line: U+000A to U+000D, U+0085, U+2028 and U+2029.
bool isLineTerminator(char32_t character);

/// The integer at the front of `text`: skips white space (also line terminators), then reads an
/// optional sign and the ASCII digits up to the first other character. Returns 0 if there is no
/// digit, or white space between the sign and the digits; saturates at the limits of 64 bits.
std::int64_t integerValue(std::string_view text);

/// Compares two texts from the left: where both have an ASCII digit, the whole runs of digits by
/// their numeric value, of any length, ignoring leading zeros; everything else by UTF-16 code unit.
/// The shorter text orders first if it is a prefix of the other. ("9" < "10", "1.01" == "1.1",
/// "10.15" < "10.15.0".)
std::weak_ordering compareNumerically(std::string_view left, std::string_view right);

/// The pieces of `text` between the separators, in order; empty pieces are kept, and a text without
/// a separator is one piece.
std::vector<std::string_view> split(std::string_view text, char separator);

/// `text` without its line-break characters: U+000A to U+000D, U+0085, U+2028 and U+2029.
std::string withoutLineBreaks(std::string_view text);

/// Adds a byte to `text` as two lower-case hexadecimal digits.
void appendHexadecimal(std::uint8_t byte, std::string& text);

/// Adds a byte to `text` as "\xHH", the digits in upper case.
void appendByteEscape(char byte, std::string& text);

} // namespace vel
