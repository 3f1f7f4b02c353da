// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vel {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t groupLength = 4;

constexpr auto valuesOfCharacters = [] {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t value = 0; value < alphabet.size(); ++value) {
        values[static_cast<unsigned char>(alphabet[value])] = static_cast<std::int8_t>(value);
    }
    return values;
}();

bool isWhiteSpace(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// Decodes what `text` begins with: groups without white space and padding. They are nearly all of
/// most texts.
void takeWholeGroups(std::string_view& text, std::string& bytes) {
    const auto valueAt = [&text](std::size_t index) {
        return int{valuesOfCharacters[static_cast<unsigned char>(text[index])]};
    };
    bytes.resize(text.size() / groupLength * 3);
    char* end = bytes.data();
    std::size_t taken = 0;
    for (; text.size() - taken >= groupLength; taken += groupLength) {
        const int first = valueAt(taken);
        const int second = valueAt(taken + 1);
        const int third = valueAt(taken + 2);
        const int fourth = valueAt(taken + 3);
        if ((first | second | third | fourth) < 0) {
            break;
        }
        const int bits = first << 18 | second << 12 | third << 6 | fourth;
        *end++ = static_cast<char>(bits >> 16 & 0xFF);
        *end++ = static_cast<char>(bits >> 8 & 0xFF);
        *end++ = static_cast<char>(bits & 0xFF);
    }
    bytes.resize(static_cast<std::size_t>(end - bytes.data()));
    text.remove_prefix(taken);
}

} // namespace

std::string base64Text(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * groupLength);
    for (std::size_t start = 0; start < bytes.size(); start += 3) {
        const std::string_view taken = bytes.substr(start, 3);
        std::uint32_t bits = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            const char byte = index < taken.size() ? taken[index] : '\0';
            bits = bits << 8U | static_cast<unsigned char>(byte);
        }
        for (std::size_t index = 0; index < groupLength; ++index) {
            const std::size_t value = bits >> (6 * (3 - index)) & 0x3FU;
            text += index <= taken.size() ? alphabet[value] : '=';
        }
    }
    return text;
}

std::optional<std::string> bytesOfBase64(std::string_view text) {
    std::string bytes;
    takeWholeGroups(text, bytes);
    std::uint32_t bits = 0;
    std::size_t length = 0;
    std::size_t padding = 0;
    for (const char character : text) {
        if (isWhiteSpace(character)) {
            continue;
        }
        const std::int8_t value = valuesOfCharacters[static_cast<unsigned char>(character)];
        if (character == '=') {
            ++padding;
        } else if (value < 0 || padding > 0) {
            return std::nullopt;
        }
        bits = bits << 6U | static_cast<std::uint32_t>(value < 0 ? 0 : value);
        if (++length % groupLength == 0) {
            bytes += {static_cast<char>(bits >> 16U & 0xFFU), static_cast<char>(bits >> 8U & 0xFFU),
                      static_cast<char>(bits & 0xFFU)};
        }
    }
    if (length % groupLength != 0 || padding > 2) {
        return std::nullopt;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

std::optional<std::string> bytesOfBase64IgnoringUnknown(std::string_view text) {
    std::string known;
    known.reserve(text.size() + groupLength);
    std::size_t padding = 0;
    for (const char character : text) {
        if (character == '=') {
            ++padding;
        } else if (valuesOfCharacters[static_cast<unsigned char>(character)] >= 0) {
            if (padding > 0) {
                return std::nullopt;
            }
            known += character;
        }
    }
    const std::size_t wanted = (groupLength - known.size() % groupLength) % groupLength;
    if (padding < wanted || (known.empty() && padding > 0)) {
        return std::nullopt;
    }
    known.append(wanted, '=');
    return bytesOfBase64(known);
}

} // namespace vel
