// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/DisplayText.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// What the reports for people share: colours, and text that is wrapped to a terminal. Texts are
/// printable UTF-8.

/// How a report looks.
struct ReportStyle {
    /// The width of the terminal, to which lines are wrapped. Absent: no terminal, every line is
    /// as long as it needs to be.
    std::optional<std::size_t> columns;
    bool colour = false;
};

enum class Colour { none, green, red, yellow };

inline constexpr std::string_view columnGap = "  ";
/// In fewer columns than this a detail is not put beside its name.
inline constexpr std::size_t narrowestDetail = 24;
/// The widest column of names: a name from a request may have any length.
inline constexpr std::size_t widestName = 28;

/// `text` in this colour where the style has colours.
std::string coloured(std::string text, Colour colour, const ReportStyle& style);

/// "1 finding", "2 findings".
std::string countOf(std::size_t count, std::string_view one, std::string_view several);

/// Ends the last line of a report, without spaces at its end.
void endLine(std::string& report);

/// Adds `text` in lines of its own that start in column `indent`, each in the colour. A terminal
/// that leaves no room for the indentation has none.
void addParagraph(std::string& report, std::string_view text, std::size_t indent, Colour colour,
                  const ReportStyle& style);

/// Adds `text` to the last line of `report`, in column `indent`; further lines start there too.
/// Where the terminal leaves no room, the text stands below.
void addWrapped(std::string& report, std::string_view text, std::size_t indent,
                const ReportStyle& style);

/// The same with commas between `parts`. Lines are broken behind commas; a part that is wider than
/// a line is broken at its spaces.
void addList(std::string& report, const std::vector<std::string>& parts, std::size_t indent,
             const ReportStyle& style);

/// The width of a column of names with a heading: at most `widestName`.
template <typename Lines, typename Name>
std::size_t columnsOfNames(const Lines& lines, std::size_t headingColumns, Name name) {
    std::size_t columns = headingColumns;
    for (const auto& line : lines) {
        columns = std::max(columns, displayWidth(name(line)));
    }
    return std::min(columns, widestName);
}

using NamedText = std::pair<std::string, std::string>;

/// Lines of a name and a text; a name that leaves no room for its text stands above it.
std::string namedTexts(const std::vector<NamedText>& texts, std::size_t headingColumns,
                       const ReportStyle& style);
