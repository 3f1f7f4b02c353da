// SPDX-License-Identifier: Apache-2.0
#include "Base/VELProcessListing.h"

#include "Base/VELText.h"

#include <algorithm>

namespace vel {

ProcessListing::ProcessListing(std::optional<std::string_view> text) {
    if (!text) {
        return;
    }
    _text = lowercase(*text);
    for (std::size_t start = 0; start <= _text.size();) {
        const std::size_t end = std::min(_text.find('\n', start), _text.size());
        _lines.push_back({start, end - start});
        start = end + 1;
    }
}

std::string_view ProcessListing::line(std::size_t position) const {
    return std::string_view(_text).substr(_lines[position].start, _lines[position].length);
}

std::vector<std::size_t> ProcessListing::linesOf(std::string_view name) const {
    std::vector<std::size_t> positions;
    if (name.empty()) {
        return positions;
    }
    const std::string lowerName = lowercase(name);
    for (std::size_t position = 0; position < _lines.size(); ++position) {
        if (line(position).ends_with(lowerName)) {
            positions.push_back(position);
        }
    }
    return positions;
}

std::vector<std::int64_t> ProcessListing::processIDs(std::string_view name) const {
    std::vector<std::int64_t> identifiers;
    for (const std::size_t position : linesOf(name)) {
        identifiers.push_back(integerValue(line(position)));
    }
    return identifiers;
}

} // namespace vel
