// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Fuzz/FuzzInput.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Line by line, each in lower case by itself.
std::vector<std::int64_t> plainProcessIDs(std::string_view name, std::string_view listing) {
    std::vector<std::int64_t> identifiers;
    while (!name.empty()) {
        const std::size_t end = listing.find('\n');
        const std::string_view line = listing.substr(0, end);
        if (vel::lowercase(line).ends_with(vel::lowercase(name))) {
            identifiers.push_back(vel::integerValue(line));
        }
        if (end == std::string_view::npos) {
            break;
        }
        listing.remove_prefix(end + 1);
    }
    return identifiers;
}

} // namespace

/// The input is a name, a zero byte, and a listing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input = fuzzText(data, size);
    const std::size_t separator = input.find('\0');
    const std::string_view name = input.substr(0, separator);
    const std::string_view text =
        separator == std::string_view::npos ? std::string_view() : input.substr(separator + 1);
    const vel::ProcessListing listing(text);
    const auto newlines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    require(listing.lineCount() == newlines + 1);
    require(VELProcessRunningCheck::processIDsForProcessWithName(name, text) ==
            plainProcessIDs(name, text));
    return 0;
}
