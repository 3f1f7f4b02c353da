// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vel {

/// `text` as the content of an XML or HTML element: markup and carriage returns are written as
/// references. Characters that XML does not have stay as they are.
inline std::string escapedForXML(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '\r':
            escaped += "&#13;";
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

} // namespace vel
