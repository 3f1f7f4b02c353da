// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/DisplayText.h"

#include "Base/VELText.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace {

bool isPlain(char character) {
    return character >= ' ' && character <= '~';
}

bool isControlOrFormat(std::int32_t codePoint) {
    if ((codePoint & 0xFFFE) == 0xFFFE) {
        return true; // no character, and malformed in XML
    }
    switch (utf8proc_category(codePoint)) {
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP:
        return true;
    default:
        return false;
    }
}

void appendUnit(std::string& text, std::uint32_t unit) {
    text += "\\u";
    vel::appendHexadecimal(static_cast<std::uint8_t>(unit >> 8U), text);
    vel::appendHexadecimal(static_cast<std::uint8_t>(unit & 0xFFU), text);
}

void appendEscape(std::string& text, std::int32_t codePoint) {
    const auto value = static_cast<std::uint32_t>(codePoint);
    if (value == '\n') {
        text += "\\n";
    } else if (value == '\r') {
        text += "\\r";
    } else if (value == '\t') {
        text += "\\t";
    } else if (value < 0x10000U) {
        appendUnit(text, value);
    } else {
        appendUnit(text, 0xD800U + ((value - 0x10000U) >> 10U));
        appendUnit(text, 0xDC00U + ((value - 0x10000U) & 0x3FFU));
    }
}

std::size_t columnsOf(std::int32_t codePoint) {
    return static_cast<std::size_t>(std::max(utf8proc_charwidth(codePoint), 0));
}

struct Extent {
    std::size_t length; // in bytes
    std::size_t columns;
};

/// The longest front of `text` that takes at most `columns`.
Extent front(std::string_view text, std::size_t columns) {
    Extent extent{0, 0};
    while (extent.length < text.size()) {
        const vel::CodePoint next = vel::firstCodePoint(text.substr(extent.length));
        const std::size_t width = columnsOf(next.value);
        if (extent.columns + width > columns) {
            break;
        }
        extent.length += next.length;
        extent.columns += width;
    }
    return extent;
}

std::string_view withoutTrailingSpaces(std::string_view text) {
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

/// Takes the next line from the front of `text`, and the spaces at which it was broken.
std::string_view takeLine(std::string_view& text, std::size_t columns) {
    std::size_t length = front(text, columns).length;
    if (length == 0 && !text.empty()) {
        length = vel::firstCodePoint(text).length;
    }
    if (length < text.size() && text[length] != ' ') {
        // A line that begins with spaces has no word before them to break after.
        const std::size_t space = text.substr(0, length).find_last_of(' ');
        if (space != std::string_view::npos &&
            !withoutTrailingSpaces(text.substr(0, space)).empty()) {
            length = space;
        }
    }
    const std::string_view line = withoutTrailingSpaces(text.substr(0, length));
    text.remove_prefix(length);
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    return line;
}

} // namespace

std::string printable(std::string_view text) {
    if (!vel::isValidUTF8(text)) {
        return printable(vel::validUTF8(text));
    }
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const vel::CodePoint next = vel::firstCodePoint(text);
        if (!isPlain(text.front()) && isControlOrFormat(next.value)) {
            appendEscape(result, next.value);
        } else {
            result += text.substr(0, next.length);
        }
        text.remove_prefix(next.length);
    }
    return result;
}

std::string decimalText(double number, int digitsAfterPoint) {
    std::array<char, 400> text{}; // the largest double has 309 digits before its point
    // The program never leaves the C locale.
    std::snprintf(text.data(), text.size(), "%.*f", digitsAfterPoint, number);
    return text.data();
}

std::size_t displayWidth(std::string_view text) {
    return front(text, static_cast<std::size_t>(-1)).columns;
}

std::string truncated(std::string_view text, std::size_t columns) {
    if (front(text, columns).length == text.size()) {
        return std::string(text);
    }
    return std::string(text.substr(0, front(text, columns - 1).length)) + "…";
}

std::string padded(std::string_view text, std::size_t columns) {
    std::string result(text);
    const std::size_t width = displayWidth(text);
    result.append(width < columns ? columns - width : 0, ' ');
    return result;
}

std::vector<std::string_view> wrapped(std::string_view text, std::size_t columns) {
    std::vector<std::string_view> lines;
    do {
        lines.push_back(takeLine(text, columns));
    } while (!text.empty());
    return lines;
}
