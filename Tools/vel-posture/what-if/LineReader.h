// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Splits what arrives in pieces into lines. Memory is bounded: of a line that is longer than the
/// limit nothing is kept.
class LineReader {
public:
    explicit LineReader(std::size_t longestLine) : _longestLine(longestLine) {}

    /// Calls `take` for every line that ends in `piece`, in order: with the line, without its end,
    /// or with null for one that is too long.
    template <typename Take> void add(std::string_view piece, Take take) {
        for (auto end = piece.find('\n'); end != std::string_view::npos; end = piece.find('\n')) {
            keep(piece.substr(0, end));
            finishLine(take);
            piece.remove_prefix(end + 1);
        }
        keep(piece);
    }

    /// At the end of the input: the same for a last line that does not end.
    template <typename Take> void finish(Take take) {
        if (!_line.empty() || _isTooLong) {
            finishLine(take);
        }
    }

private:
    void keep(std::string_view part) {
        _isTooLong = _isTooLong || part.size() > _longestLine - _line.size();
        if (_isTooLong) {
            _line.clear();
        } else {
            _line += part;
        }
    }

    template <typename Take> void finishLine(Take take) {
        const std::string_view line = _line;
        take(_isTooLong ? nullptr : &line);
        _line.clear();
        _isTooLong = false;
    }

    std::size_t _longestLine;
    std::string _line;
    bool _isTooLong = false;
};
