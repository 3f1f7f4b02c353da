// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace vel {
namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
constexpr utf8proc_int32_t capitalIWithDotAbove = 0x130;
constexpr utf8proc_int32_t capitalSigma = 0x3A3;
constexpr char32_t finalSigma = 0x3C2;

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

bool isASCII(char character) {
    return static_cast<unsigned char>(character) < 0x80;
}

char lowercaseOfASCII(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

/// Takes the run of digits at the front of `text`; returns it without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

std::weak_ordering compareNumbers(std::string_view left, std::string_view right) {
    return left.size() != right.size() ? left.size() <=> right.size() : left.compare(right) <=> 0;
}

/// Orders two different UTF-8 lead or inner bytes as UTF-16 would order their characters. It is the
/// order of the bytes, but that U+E000 to U+FFFF (lead bytes EE and EF) come after surrogate pairs.
std::weak_ordering compareUnits(char left, char right) {
    const auto rank = [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte == 0xEE || byte == 0xEF ? byte + 0x100 : int{byte};
    };
    return rank(left) <=> rank(right);
}

utf8proc_category_t categoryOf(char32_t character) {
    return utf8proc_category(static_cast<utf8proc_int32_t>(character));
}

bool isWhiteSpace(char32_t character) {
    return character == U'\t' || isLineTerminator(character) ||
           categoryOf(character) == UTF8PROC_CATEGORY_ZS;
}

/// A character that the rule for a sigma at the end of a word looks through: marks, modifiers,
/// format characters, and punctuation that occurs inside words.
bool isIgnoredByCase(utf8proc_int32_t character) {
    constexpr std::u32string_view insideWords =
        U"'.:\u00B7\u0387\u055F\u05F4\u2018\u2019\u2024\u2027\uFE13\uFE52\uFE55\uFF07\uFF0E\uFF1A";
    switch (utf8proc_category(character)) {
    case UTF8PROC_CATEGORY_MN:
    case UTF8PROC_CATEGORY_ME:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_LM:
    case UTF8PROC_CATEGORY_SK:
        return true;
    default:
        return insideWords.find(static_cast<char32_t>(character)) != std::u32string_view::npos;
    }
}

bool hasCase(utf8proc_int32_t character) {
    const utf8proc_category_t category = utf8proc_category(character);
    return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_LT;
}

bool startsWithCasedLetter(std::string_view text) {
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0 || !isIgnoredByCase(first.value)) {
            return first.value >= 0 && hasCase(first.value);
        }
        text.remove_prefix(first.length);
    }
    return false;
}

bool endsWithCasedLetter(std::string_view text) {
    while (!text.empty()) {
        std::size_t start = text.size() - 1;
        while (start > 0 && isContinuation(text[start])) {
            --start;
        }
        const CodePoint last = firstCodePoint(text.substr(start));
        if (last.value < 0 || start + last.length != text.size()) {
            return false;
        }
        if (!isIgnoredByCase(last.value)) {
            return hasCase(last.value);
        }
        text = text.substr(0, start);
    }
    return false;
}

std::string_view withoutLeadingWhiteSpace(std::string_view text) {
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0 || !isWhiteSpace(static_cast<char32_t>(first.value))) {
            break;
        }
        text.remove_prefix(first.length);
    }
    return text;
}

} // namespace

CodePoint firstCodePoint(std::string_view text) {
    CodePoint first{};
    const utf8proc_ssize_t length =
        utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                         static_cast<utf8proc_ssize_t>(text.size()), &first.value);
    if (length <= 0) {
        return {-1, 1};
    }
    first.length = static_cast<std::size_t>(length);
    return first;
}

void appendUTF8(char32_t character, std::string& text) {
    std::array<utf8proc_uint8_t, 4> bytes{};
    const utf8proc_ssize_t length =
        utf8proc_encode_char(static_cast<utf8proc_int32_t>(character), bytes.data());
    text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

std::optional<std::string> textOfUTF16(std::string_view bytes) {
    const auto unit = [bytes](std::size_t start) -> char32_t {
        const auto byte = [bytes](std::size_t at) -> char32_t {
            return static_cast<unsigned char>(bytes[at]);
        };
        return byte(start) << 8U | byte(start + 1);
    };
    if (bytes.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t start = 0; start < bytes.size(); start += 2) {
        char32_t character = unit(start);
        if (character >= 0xD800 && character < 0xE000) {
            const char32_t low = start + 2 < bytes.size() ? unit(start + 2) : U'\0';
            if (character >= 0xDC00 || low < 0xDC00 || low >= 0xE000) {
                return std::nullopt;
            }
            character = 0x10000 + ((character - 0xD800) << 10U) + (low - 0xDC00);
            start += 2;
        }
        appendUTF8(character, text);
    }
    return text;
}

bool isASCII(std::string_view text) {
    return std::ranges::all_of(text, [](char character) { return isASCII(character); });
}

bool isValidUTF8(std::string_view text) {
    if (isASCII(text)) { // most texts
        return true;
    }
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0) {
            return false;
        }
        text.remove_prefix(first.length);
    }
    return true;
}

std::string validUTF8(std::string_view text) {
    std::string valid;
    valid.reserve(text.size());
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0) {
            appendUTF8(replacementCharacter, valid);
        } else {
            valid.append(text.substr(0, first.length));
        }
        text.remove_prefix(first.length);
    }
    return valid;
}

std::string lowercase(std::string_view text) {
    const std::string_view whole = text;
    std::string lower;
    lower.reserve(text.size());
    while (!text.empty()) {
        if (isASCII(text.front())) {
            lower += lowercaseOfASCII(text.front());
            text.remove_prefix(1);
            continue;
        }
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0) {
            appendUTF8(replacementCharacter, lower);
        } else if (first.value == capitalIWithDotAbove) {
            // The one character whose lower case is two; its simple mapping is a plain "i".
            lower += "i\u0307";
        } else if (first.value == capitalSigma &&
                   endsWithCasedLetter(whole.substr(0, whole.size() - text.size())) &&
                   !startsWithCasedLetter(text.substr(first.length))) {
            appendUTF8(finalSigma, lower);
        } else {
            appendUTF8(static_cast<char32_t>(utf8proc_tolower(first.value)), lower);
        }
        text.remove_prefix(first.length);
    }
    return lower;
}

std::u32string characters(std::string_view text) {
    std::u32string all;
    all.reserve(text.size());
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        all += first.value < 0 ? replacementCharacter : static_cast<char32_t>(first.value);
        text.remove_prefix(first.length);
    }
    return all;
}

std::u32string foldCase(char32_t character) {
    std::array<utf8proc_int32_t, 8> folded{};
    const utf8proc_ssize_t length =
        utf8proc_decompose_char(static_cast<utf8proc_int32_t>(character), folded.data(),
                                folded.size(), UTF8PROC_CASEFOLD, nullptr);
    if (length <= 0) {
        return {character};
    }
    return {folded.begin(), folded.begin() + length};
}

bool isAlphanumeric(char32_t character) {
    const utf8proc_category_t category = categoryOf(character);
    return category >= UTF8PROC_CATEGORY_LU && category <= UTF8PROC_CATEGORY_NO;
}

bool isDecimalDigit(char32_t character) {
    return categoryOf(character) == UTF8PROC_CATEGORY_ND;
}

bool isLineTerminator(char32_t character) {
    return (character >= 0x0A && character <= 0x0D) || character == 0x85 || character == 0x2028 ||
           character == 0x2029;
}

std::int64_t integerValue(std::string_view text) {
    using Limits = std::numeric_limits<std::int64_t>;
    text = withoutLeadingWhiteSpace(text);
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    // Counted downwards, because the lower limit is the further one.
    std::int64_t value = 0;
    for (const char character : text) {
        if (!isDigit(character)) {
            break;
        }
        const std::int64_t digit = character - '0';
        if (value < (Limits::min() + digit) / 10) {
            return isNegative ? Limits::min() : Limits::max();
        }
        value = value * 10 - digit;
    }
    if (isNegative) {
        return value;
    }
    return value == Limits::min() ? Limits::max() : -value;
}

std::weak_ordering compareNumerically(std::string_view left, std::string_view right) {
    while (left != right) {
        // What is equal, but for the number that the first difference is in.
        const auto difference =
            std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
        auto equal = static_cast<std::size_t>(difference - left.begin());
        while (equal > 0 && isDigit(left[equal - 1])) {
            --equal;
        }
        left.remove_prefix(equal);
        right.remove_prefix(equal);
        if (left.empty() || right.empty()) {
            return left.size() <=> right.size();
        }
        if (!isDigit(left.front()) || !isDigit(right.front())) {
            return compareUnits(left.front(), right.front());
        }
        const std::string_view leftNumber = takeNumber(left);
        const std::string_view rightNumber = takeNumber(right);
        const auto order = compareNumbers(leftNumber, rightNumber);
        if (order != 0) {
            return order;
        }
    }
    return std::weak_ordering::equivalent;
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> pieces;
    for (std::size_t end = text.find(separator); end != std::string_view::npos;
         end = text.find(separator)) {
        pieces.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    pieces.push_back(text);
    return pieces;
}

std::string withoutLineBreaks(std::string_view text) {
    std::string rest;
    rest.reserve(text.size());
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        if (first.value < 0 || !isLineTerminator(static_cast<char32_t>(first.value))) {
            rest.append(text.substr(0, first.length));
        }
        text.remove_prefix(first.length);
    }
    return rest;
}

void appendHexadecimal(std::uint8_t byte, std::string& text) {
    constexpr std::string_view digits = "0123456789abcdef";
    text += digits[byte >> 4U];
    text += digits[byte & 0xFU];
}

void appendByteEscape(char byte, std::string& text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    const auto value = static_cast<std::uint8_t>(byte);
    text.append("\\x").append({digits[value >> 4U], digits[value & 0xFU]});
}

} // namespace vel
