// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel {

/// A process listing to look names up in: lines separated by "\n" (a heading, and an empty line
/// after the last "\n", are lines like the others), of which each begins with a process ID and ends
/// with a name. Case is folded once, for all look-ups.
class ProcessListing {
public:
    /// Absent: a listing without any line (an empty listing has one line, the empty one).
    explicit ProcessListing(std::optional<std::string_view> text);

    [[nodiscard]] std::size_t lineCount() const noexcept { return _lines.size(); }

    /// The number at the start of every line that ends with `name`, ignoring case, in the order of
    /// the lines; 0 for a line that does not start with a number. An empty `name` matches no line.
    [[nodiscard]] std::vector<std::int64_t> processIDs(std::string_view name) const;

    /// The positions of those lines, from 0.
    [[nodiscard]] std::vector<std::size_t> linesOf(std::string_view name) const;

private:
    [[nodiscard]] std::string_view line(std::size_t position) const;

    struct Line {
        std::size_t start;
        std::size_t length;
    };

    std::string _text; // in lower case
    std::vector<Line> _lines;
};

} // namespace vel
