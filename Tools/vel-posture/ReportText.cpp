// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/ReportText.h"

#include <limits>

namespace {

constexpr std::size_t narrowestText = 12; // narrower, and a text stands below its name
constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max(); // no terminal

void trimLine(std::string& report) {
    report.erase(report.find_last_not_of(' ') + 1);
}

/// Where the lines of a text stand on a terminal.
struct TextBlock {
    std::size_t indent;
    std::size_t columns;
    bool startsBelow; // there is no room behind what stands on the line already
};

TextBlock textBlock(std::size_t indent, std::size_t terminalColumns) {
    const bool startsBelow = indent + narrowestText > terminalColumns;
    const std::size_t used = startsBelow ? columnGap.size() : indent;
    return {used, terminalColumns > used ? terminalColumns - used : 1, startsBelow};
}

void addLines(std::string& report, const std::vector<std::string_view>& lines,
              const TextBlock& block) {
    const std::string lineBreak = "\n" + std::string(block.indent, ' ');
    std::string_view separator;
    if (block.startsBelow) {
        separator = lineBreak;
        trimLine(report);
    }
    for (const std::string_view line : lines) {
        report += separator;
        report += line;
        separator = lineBreak;
    }
}

} // namespace

std::string coloured(std::string text, Colour colour, const ReportStyle& style) {
    if (!style.colour || colour == Colour::none) {
        return text;
    }
    const std::string_view code = colour == Colour::green ? "32"
                                  : colour == Colour::red ? "31"
                                                          : "33";
    return "\x1b[1;" + std::string(code) + "m" + std::move(text) + "\x1b[0m";
}

std::string countOf(std::size_t count, std::string_view one, std::string_view several) {
    return std::to_string(count) + " " + std::string(count == 1 ? one : several);
}

void endLine(std::string& report) {
    trimLine(report);
    report += '\n';
}

void addParagraph(std::string& report, std::string_view text, std::size_t indent, Colour colour,
                  const ReportStyle& style) {
    if (style.columns && *style.columns < indent + narrowestText) {
        indent = 0;
    }
    const auto lines = style.columns ? wrapped(text, *style.columns - indent)
                                     : std::vector<std::string_view>{text};
    for (const std::string_view line : lines) {
        report.append(indent, ' ');
        report += coloured(std::string(line), colour, style);
        report += '\n';
    }
}

void addWrapped(std::string& report, std::string_view text, std::size_t indent,
                const ReportStyle& style) {
    if (!style.columns || text.empty()) {
        report += text;
        return;
    }
    const TextBlock block = textBlock(indent, *style.columns);
    addLines(report, wrapped(text, block.columns), block);
}

void addList(std::string& report, const std::vector<std::string>& parts, std::size_t indent,
             const ReportStyle& style) {
    const TextBlock block = textBlock(indent, style.columns.value_or(unlimited));
    std::vector<std::string> rows;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        const std::string part = parts[index] + (index + 1 < parts.size() ? "," : "");
        if (!rows.empty() && displayWidth(rows.back()) + 1 + displayWidth(part) <= block.columns) {
            rows.back() += " " + part;
        } else {
            rows.push_back(part);
        }
    }
    std::vector<std::string_view> lines;
    for (const std::string& row : rows) {
        const auto rowLines = wrapped(row, block.columns);
        lines.insert(lines.end(), rowLines.begin(), rowLines.end());
    }
    addLines(report, lines, block);
}

std::string namedTexts(const std::vector<NamedText>& texts, std::size_t headingColumns,
                       const ReportStyle& style) {
    const std::size_t columns = columnsOfNames(
        texts, headingColumns, [](const NamedText& text) { return std::string_view(text.first); });
    const std::size_t indent = columns + columnGap.size();
    std::string report;
    for (const auto& [name, text] : texts) {
        if (style.columns && indent + narrowestDetail > *style.columns) {
            addWrapped(report, name, 0, style);
            report += '\n' + std::string(columnGap);
            addWrapped(report, text, columnGap.size(), style);
        } else {
            report += padded(name, columns);
            report += columnGap;
            addWrapped(report, text, indent, style);
        }
        endLine(report);
    }
    return report;
}
