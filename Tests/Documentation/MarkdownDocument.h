// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A table of a Markdown document. Cells are without the spaces around them.
struct MarkdownTable {
    std::string section; ///< the heading above it, without its marks
    std::size_t line;    ///< of its heading row, from 1
    std::vector<std::string> heading;
    std::vector<std::vector<std::string>> rows;
};

/// A fenced block of a Markdown document.
struct MarkdownCode {
    std::size_t line; ///< of its fence, from 1
    std::string language;
    std::string text;
};

/// What the tests read out of a document of the project.
struct MarkdownDocument {
    std::vector<MarkdownTable> tables;
    std::vector<MarkdownCode> codes;

    /// Reads a file below the source tree.
    static MarkdownDocument read(const std::string& path);
};

/// The text of a cell that is one code span; throws std::invalid_argument for any other.
std::string codeOfCell(std::string_view cell);
