// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxMountInfo.h"

#include "Base/VELText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

namespace vel {
namespace {

// Positions in a line; behind the options stand optional fields up to a "-".
constexpr std::size_t idField = 0;
constexpr std::size_t deviceField = 2;
constexpr std::size_t mountPointField = 4;
constexpr std::size_t firstOptionalField = 6;

bool isOctal(char character) {
    return character >= '0' && character <= '7';
}

/// The byte that "ooo" stands for. Absent: no three octal digits, no byte, or NUL, which no path
/// holds.
std::optional<char> octalByte(std::string_view digits) {
    if (digits.size() != 3 || !std::ranges::all_of(digits, isOctal)) {
        return std::nullopt;
    }
    unsigned value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value, 8);
    return value == 0 || value > 0xFF ? std::nullopt : std::optional(static_cast<char>(value));
}

std::string unescaped(std::string_view field) {
    std::string text;
    text.reserve(field.size());
    for (std::size_t index = 0; index < field.size(); ++index) {
        const bool escapes = field[index] == '\\';
        const auto byte = escapes ? octalByte(field.substr(index + 1, 3)) : std::nullopt;
        text += byte.value_or(field[index]);
        index += byte ? 3U : 0U;
    }
    return text;
}

std::optional<unsigned> number(std::string_view text) {
    unsigned value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

bool isReadOnly(std::string_view options) {
    return options == "ro" || options.starts_with("ro,");
}

std::optional<VELLinuxMount> mountInLine(std::string_view line) {
    const std::vector<std::string_view> fields = split(line, ' ');
    if (fields.size() < firstOptionalField) {
        return std::nullopt;
    }
    // A source may be empty, and a file system's own options are not all escaped: what stands
    // behind the first of them does not matter.
    const auto separator =
        std::find(fields.begin() + static_cast<std::ptrdiff_t>(firstOptionalField), fields.end(),
                  std::string_view("-"));
    if (fields.end() - separator < 4) {
        return std::nullopt;
    }
    const std::vector<std::string_view> device = split(fields[deviceField], ':');
    const auto major = number(device.front());
    const auto minor = number(device.back());
    const auto id = number(fields[idField]);
    if (device.size() != 2 || !major || !minor || !id ||
        !fields[mountPointField].starts_with('/')) {
        return std::nullopt;
    }
    return VELLinuxMount{*major,
                         *minor,
                         unescaped(fields[mountPointField]),
                         unescaped(separator[1]),
                         isReadOnly(separator[3]),
                         *id,
                         unescaped(separator[2])};
}

} // namespace

std::optional<std::vector<VELLinuxMount>> mountsInMountInfo(std::string_view text) {
    std::vector<VELLinuxMount> mounts;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        std::optional<VELLinuxMount> mount = mountInLine(line);
        if (!mount) {
            return std::nullopt;
        }
        mounts.push_back(std::move(*mount));
    }
    return mounts;
}

} // namespace vel
