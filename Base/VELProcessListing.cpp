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

std::vector<std::int64_t> ProcessListing::processIDs(std::string_view name) const {
    std::vector<std::int64_t> identifiers;
    if (name.empty()) {
        return identifiers;
    }
    const std::string lowerName = lowercase(name);
    for (const auto& [start, length] : _lines) {
        const std::string_view line = std::string_view(_text).substr(start, length);
        if (line.ends_with(lowerName)) {
            identifiers.push_back(integerValue(line));
        }
    }
    return identifiers;
}

} // namespace vel
