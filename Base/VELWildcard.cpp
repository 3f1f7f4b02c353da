// SPDX-License-Identifier: Apache-2.0
#include "Base/VELWildcard.h"

#include "Base/VELText.h"

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vel {
namespace {

/// One line of the text, folded.
struct FoldedLine {
    std::u32string characters;
    /// Whether a character of the text begins at a place of `characters`; true at its end.
    std::vector<bool> isBoundary = {true};

    void append(char32_t character) {
        const std::u32string folded = foldCase(character);
        characters += folded;
        isBoundary.resize(characters.size(), false);
        isBoundary.push_back(true);
    }

    void clear() {
        characters.clear();
        isBoundary.assign(1, true);
    }
};

/// The text between two stars of a pattern, case-folded and never empty. Searched for with the
/// Knuth-Morris-Pratt algorithm: partial matches do not slow it down.
class Piece {
public:
    explicit Piece(std::u32string characters)
        : _characters(std::move(characters)), _border(_characters.size(), 0) {
        for (std::size_t at = 1, length = 0; at < _characters.size(); ++at) {
            length = extended(length, _characters[at]);
            _border[at] = length;
        }
    }

    /// Where the first match at or after `from` ends; nullopt if there is none.
    [[nodiscard]] std::optional<std::size_t> endOfMatch(const FoldedLine& line,
                                                        std::size_t from) const {
        std::size_t length = 0;
        for (std::size_t at = from; at < line.characters.size(); ++at) {
            length = extended(length, line.characters[at]);
            if (length < _characters.size()) {
                continue;
            }
            const std::size_t end = at + 1;
            if (line.isBoundary[end - length] && line.isBoundary[end]) {
                return end;
            }
            length = _border.back();
        }
        return std::nullopt;
    }

private:
    /// How many of the first characters of the piece end with `next`, when `length` of them stand
    /// before it.
    [[nodiscard]] std::size_t extended(std::size_t length, char32_t next) const {
        while (length > 0 && _characters[length] != next) {
            length = _border[length - 1];
        }
        return _characters[length] == next ? length + 1 : 0;
    }

    std::u32string _characters;
    /// For each place, how long the longest proper prefix is that ends there.
    std::vector<std::size_t> _border;
};

std::vector<Piece> piecesOf(std::string_view pattern) {
    std::vector<Piece> pieces;
    std::u32string piece;
    const auto finishPiece = [&] {
        if (!piece.empty()) {
            pieces.emplace_back(piece);
            piece.clear();
        }
    };
    for (const char32_t character : characters(pattern)) {
        if (character == U'*') {
            finishPiece();
        } else {
            piece += foldCase(character);
        }
    }
    finishPiece();
    return pieces;
}

bool standInOrder(const std::vector<Piece>& pieces, const FoldedLine& line) {
    std::size_t from = 0;
    for (const Piece& piece : pieces) {
        const std::optional<std::size_t> end = piece.endOfMatch(line, from);
        if (!end) {
            return false;
        }
        from = *end;
    }
    return true;
}

} // namespace

bool matchesWildcard(std::string_view pattern, std::string_view text) {
    if (pattern.empty()) {
        return false;
    }
    const std::vector<Piece> pieces = piecesOf(pattern);
    FoldedLine line;
    for (const char32_t character : characters(text)) {
        if (!isLineTerminator(character)) {
            line.append(character);
            continue;
        }
        if (standInOrder(pieces, line)) {
            return true;
        }
        line.clear();
    }
    return standInOrder(pieces, line);
}

} // namespace vel
