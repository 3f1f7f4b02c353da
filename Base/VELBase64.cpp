// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace vel {
namespace {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int8_t unknown = -1;

constexpr std::array<std::int8_t, 256> values = [] {
    std::array<std::int8_t, 256> table{};
    table.fill(unknown);
    for (std::size_t value = 0; value < alphabet.size(); ++value) {
        table[static_cast<unsigned char>(alphabet[value])] = static_cast<std::int8_t>(value);
    }
    return table;
}();

} // namespace

std::string encodeBase64(std::string_view bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t group = 0;
        for (std::size_t index = 0; index < 3; ++index) {
            const unsigned char byte =
                index < count ? static_cast<unsigned char>(bytes[at + index]) : std::uint8_t{0};
            group = group << 8U | byte;
        }
        for (std::size_t index = 0; index < 4; ++index) {
            text += index <= count ? alphabet[group >> (18U - 6U * index) & 0x3FU] : '=';
        }
    }
    return text;
}

std::optional<std::string> decodeBase64IgnoringUnknown(std::string_view text) {
    std::string bytes;
    std::uint32_t group = 0;
    std::size_t digits = 0;
    std::size_t padding = 0;
    for (const char character : text) {
        if (character == '=') {
            ++padding;
            continue;
        }
        const std::int8_t value = values[static_cast<unsigned char>(character)];
        if (value == unknown) {
            continue;
        }
        if (padding > 0) {
            return std::nullopt;
        }
        group = group << 6U | static_cast<std::uint32_t>(value);
        ++digits;
        if (digits % 4 == 0) {
            bytes += static_cast<char>(group >> 16U & 0xFFU);
            bytes += static_cast<char>(group >> 8U & 0xFFU);
            bytes += static_cast<char>(group & 0xFFU);
        }
    }
    const std::size_t left = digits % 4;
    const bool onlyPadding = digits == 0 && padding > 0;
    if (onlyPadding || left == 1 || (left > 0 && left + padding < 4)) {
        return std::nullopt;
    }
    if (left >= 2) {
        group <<= 6U * (4 - left);
        bytes += static_cast<char>(group >> 16U & 0xFFU);
    }
    if (left == 3) {
        bytes += static_cast<char>(group >> 8U & 0xFFU);
    }
    return bytes;
}

} // namespace vel
