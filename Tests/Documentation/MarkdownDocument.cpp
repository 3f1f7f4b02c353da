// SPDX-License-Identifier: Apache-2.0
#include "Tests/Documentation/MarkdownDocument.h"

#include <fstream>
#include <stdexcept>

namespace {

std::string trimmed(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos
               ? std::string()
               : std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

/// The cells of a row: a bar within a code span does not end one.
std::vector<std::string> cellsOf(std::string_view row) {
    std::vector<std::string> cells;
    std::string cell;
    bool inCode = false;
    for (const char character : trimmed(row).substr(1)) {
        inCode = inCode != (character == '`');
        if (character == '|' && !inCode) {
            cells.push_back(trimmed(cell));
            cell.clear();
        } else {
            cell += character;
        }
    }
    if (!cell.empty()) {
        throw std::invalid_argument("a row without a bar at its end: " + std::string(row));
    }
    return cells;
}

bool isRuler(std::string_view row) {
    return row.find_first_not_of("|-: ") == std::string_view::npos;
}

} // namespace

MarkdownDocument MarkdownDocument::read(const std::vector<std::string>& paths) {
    MarkdownDocument document;
    for (const std::string& path : paths) {
        document.append(path);
    }
    return document;
}

void MarkdownDocument::append(const std::string& path) {
    std::ifstream file(std::string(VEL_SOURCE_DIRECTORY) + "/" + path);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::string section;
    std::string line;
    bool inCode = false;
    bool inTable = false;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        const std::string place = path + ":" + std::to_string(number);
        if (line.starts_with("```")) {
            inCode = !inCode;
            if (inCode) {
                codes.push_back({place, line.substr(3), {}});
            }
        } else if (inCode) {
            codes.back().text += line + "\n";
        } else if (line.starts_with('|')) {
            if (!inTable) {
                tables.push_back({section, place, cellsOf(line), {}});
            } else if (!isRuler(line)) {
                tables.back().rows.push_back(cellsOf(line));
            }
        } else if (line.starts_with('#')) {
            section = trimmed(line.substr(line.find_first_not_of('#')));
        }
        inTable = !inCode && line.starts_with('|');
    }
}

std::string codeOfCell(std::string_view cell) {
    if (cell.size() < 2 || cell.front() != '`' || cell.find('`', 1) != cell.size() - 1) {
        throw std::invalid_argument("not one code span: " + std::string(cell));
    }
    return std::string(cell.substr(1, cell.size() - 2));
}
