// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vel::der {

inline constexpr std::uint8_t boolean = 0x01;
inline constexpr std::uint8_t integer = 0x02;
inline constexpr std::uint8_t bitString = 0x03;
inline constexpr std::uint8_t octetString = 0x04;
inline constexpr std::uint8_t objectIdentifier = 0x06;
inline constexpr std::uint8_t utf8String = 0x0C;
inline constexpr std::uint8_t numericString = 0x12;
inline constexpr std::uint8_t printableString = 0x13;
inline constexpr std::uint8_t teletexString = 0x14;
inline constexpr std::uint8_t videotexString = 0x15;
inline constexpr std::uint8_t ia5String = 0x16;
inline constexpr std::uint8_t utcTime = 0x17;
inline constexpr std::uint8_t generalizedTime = 0x18;
inline constexpr std::uint8_t visibleString = 0x1A;
inline constexpr std::uint8_t universalString = 0x1C;
inline constexpr std::uint8_t bmpString = 0x1E;
inline constexpr std::uint8_t sequence = 0x30;
inline constexpr std::uint8_t set = 0x31;

/// The tag of a constructed element with a tag number of the context.
constexpr std::uint8_t context(unsigned number) {
    return static_cast<std::uint8_t>(0xA0U | number);
}

/// The same of a primitive element.
constexpr std::uint8_t contextPrimitive(unsigned number) {
    return static_cast<std::uint8_t>(0x80U | number);
}

struct Element {
    std::uint8_t tag;
    std::string_view content;
    std::string_view whole; ///< with tag and length
};

/// Reads the elements of a DER encoding one after another. It reads single-byte tags and definite
/// lengths in their shortest form, and never looks into an element.
class Reader {
public:
    explicit Reader(std::string_view bytes) : _rest(bytes) {}

    [[nodiscard]] bool atEnd() const { return _rest.empty(); }

    /// The next element, which is then passed. Nothing: no well-formed one stands there.
    std::optional<Element> next();

    /// The next element if it has `tag`; otherwise nothing, and nothing is passed.
    std::optional<Element> next(std::uint8_t tag);

private:
    std::string_view _rest;
};

/// The value of a boolean's content: one byte, 00 or FF. Nothing: it is neither.
std::optional<bool> booleanValue(std::string_view content);

/// The value of an integer's content. Nothing: it is empty, negative, longer than it needs to be,
/// or has more than 32 bits.
std::optional<std::uint32_t> unsignedValue(std::string_view content);

/// The bytes of tag and length before `contentLength` bytes of content.
std::string header(std::uint8_t tag, std::size_t contentLength);

/// An element.
std::string element(std::uint8_t tag, std::string_view content);

} // namespace vel::der
