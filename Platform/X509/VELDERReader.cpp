// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELDERReader.h"

namespace vel::der {
namespace {

using namespace std::string_view_literals;

constexpr std::uint8_t tagNumberBits = 0x1F;
constexpr std::size_t longForm = 0x80;
constexpr std::size_t maximumLengthBytes = 4;

std::uint8_t byteAt(std::string_view bytes, std::size_t index) {
    return static_cast<std::uint8_t>(bytes[index]);
}

} // namespace

std::optional<Element> Reader::next() {
    if (_rest.size() < 2 || (byteAt(_rest, 0) & tagNumberBits) == tagNumberBits) {
        return std::nullopt;
    }
    std::size_t length = byteAt(_rest, 1);
    std::size_t start = 2;
    if (length >= longForm) {
        const std::size_t count = length - longForm;
        if (count > maximumLengthBytes || _rest.size() < start + count) {
            return std::nullopt;
        }
        length = 0;
        for (std::size_t index = 0; index < count; ++index) {
            length = length << 8U | byteAt(_rest, start + index);
        }
        // Without a byte, for an indefinite length, it is 0.
        const bool isShortest = length >= longForm && length >> (8 * (count - 1)) != 0;
        if (!isShortest) {
            return std::nullopt;
        }
        start += count;
    }
    if (_rest.size() - start < length) {
        return std::nullopt;
    }
    const Element element{byteAt(_rest, 0), _rest.substr(start, length),
                          _rest.substr(0, start + length)};
    _rest.remove_prefix(start + length);
    return element;
}

std::optional<Element> Reader::next(std::uint8_t tag) {
    return !_rest.empty() && byteAt(_rest, 0) == tag ? next() : std::nullopt;
}

std::optional<bool> booleanValue(std::string_view content) {
    if (content == "\x00"sv || content == "\xFF"sv) {
        return content != "\x00"sv;
    }
    return std::nullopt;
}

std::optional<std::uint32_t> unsignedValue(std::string_view content) {
    if (content.empty() || byteAt(content, 0) >= 0x80) {
        return std::nullopt;
    }
    if (byteAt(content, 0) == 0 && content.size() > 1) {
        content.remove_prefix(1); // stands before a byte that would be read as a sign
        if (byteAt(content, 0) < 0x80) {
            return std::nullopt;
        }
    }
    if (content.size() > sizeof(std::uint32_t)) {
        return std::nullopt;
    }
    std::uint32_t value = 0;
    for (std::size_t index = 0; index < content.size(); ++index) {
        value = value << 8U | byteAt(content, index);
    }
    return value;
}

std::string header(std::uint8_t tag, std::size_t contentLength) {
    std::string bytes(1, static_cast<char>(tag));
    if (contentLength < longForm) {
        return bytes += static_cast<char>(contentLength);
    }
    std::string digits;
    for (std::size_t rest = contentLength; rest != 0; rest >>= 8U) {
        digits.insert(digits.begin(), static_cast<char>(rest & 0xFFU));
    }
    bytes += static_cast<char>(longForm + digits.size());
    return bytes += digits;
}

std::string element(std::uint8_t tag, std::string_view content) {
    return header(tag, content.size()).append(content);
}

} // namespace vel::der
