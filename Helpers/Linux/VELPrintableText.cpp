// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELPrintableText.h"
#include "Base/VELText.h"

#include <algorithm>
#include <cstdint>

namespace vel {
namespace {

/// C0, DEL and C1.
bool isControl(std::int32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

} // namespace

std::string printableText(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const CodePoint first = firstCodePoint(text);
        const std::string_view character = text.substr(0, first.length);
        if (isControl(first.value)) { // what is no character, too
            std::ranges::for_each(character, [&](char byte) { appendByteEscape(byte, printable); });
        } else {
            printable += character;
        }
        text.remove_prefix(first.length);
    }
    return printable;
}

} // namespace vel
