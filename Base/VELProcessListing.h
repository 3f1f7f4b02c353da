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
/// with a name. Letter case is folded away once, for every look-up.
class ProcessListing {
public:
    /// Absent: a listing without any line (an empty one has a line, the empty one).
    explicit ProcessListing(std::optional<std::string_view> text);

    [[nodiscard]] std::size_t lineCount() const noexcept { return _lines.size(); }

    /// The number at the start of every line that ends with `name`, letter case aside, in the order
    /// of the lines; 0 for a line that starts with none. No line ends with the empty name.
    [[nodiscard]] std::vector<std::int64_t> processIDs(std::string_view name) const;

private:
    struct Line {
        std::size_t start;
        std::size_t length;
    };

    std::string _text; // in lower case
    std::vector<Line> _lines;
};

} // namespace vel
