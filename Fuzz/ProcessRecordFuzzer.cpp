// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELPrintableText.h"
#include "Helpers/Linux/VELProcessLister.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// The input is a record, a link and a command line, parted by the byte 0xFE. Whatever they hold,
/// the process has one line of valid UTF-8 without control characters.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input = fuzzText(data, size);
    const auto take = [&input] {
        const auto part = input.substr(0, input.find('\xFE'));
        input.remove_prefix(std::min(part.size() + 1, input.size()));
        return part;
    };
    const auto record = take();
    const auto link = take();
    const auto commandLine = take();
    const auto stat = vel::parseProcessStat(record);
    if (!stat) {
        return 0;
    }
    const std::string name = vel::listedName(stat->name, link, commandLine);
    const std::string line = vel::processLine(7, *stat, name, 100);
    const bool hasControls = std::ranges::any_of(line, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return byte < 0x20 || byte == 0x7F;
    });
    if (hasControls || !vel::isValidUTF8(line) || !line.starts_with("7 ") ||
        !line.ends_with(vel::printableText(name))) {
        std::abort();
    }
    return 0;
}
