// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A table of a Markdown document. Cells are without the spaces around them.
struct MarkdownTable {
    std::string section; ///< the heading above it, without its marks
    std::string place;   ///< file and line of its heading row, "Documentation/checks.md:12"
    std::vector<std::string> heading;
    std::vector<std::vector<std::string>> rows;
};

/// A fenced block of a Markdown document.
struct MarkdownCode {
    std::string place; ///< file and line of its opening fence
    std::string language;
    std::string text;
};

/// The tables and fenced blocks of Markdown files.
struct MarkdownDocument {
    std::vector<MarkdownTable> tables;
    std::vector<MarkdownCode> codes;

    /// Reads files below the source tree, one after another.
    static MarkdownDocument read(const std::vector<std::string>& paths);

private:
    void append(const std::string& path);
};

/// The text of a cell that is one code span; throws std::invalid_argument for any other.
std::string codeOfCell(std::string_view cell);
