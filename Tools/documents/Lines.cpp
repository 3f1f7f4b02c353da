// SPDX-License-Identifier: Apache-2.0
#include "Tools/documents/Lines.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <stdexcept>

std::string joined(const std::vector<std::string>& words, std::string_view separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? std::string_view() : separator);
        text += word;
    }
    return text;
}

std::string escaped(std::string_view text, std::string_view characters, std::string_view before) {
    std::string result;
    for (const char character : text) {
        if (characters.find(character) != std::string_view::npos) {
            result += before;
        }
        result += character;
    }
    return result;
}

std::string inOneLine(std::string text) {
    std::ranges::replace(text, '\n', ' ');
    return text;
}

std::string filled(std::string_view frame, const std::map<std::string, std::string>& parts) {
    std::string text;
    std::set<std::string> places;
    while (!frame.empty()) {
        const std::size_t start = std::min(frame.find('@'), frame.size());
        const std::size_t end = std::min(frame.find('@', start + 1), frame.size());
        const auto part =
            parts.find(std::string(frame.substr(std::min(start + 1, end), end - start - 1)));
        text += frame.substr(0, start);
        if (start < frame.size() && end < frame.size() && part != parts.end()) {
            text += part->second;
            places.insert(part->first);
            frame.remove_prefix(end + 1);
        } else {
            text += frame.substr(start, 1);
            frame.remove_prefix(std::min(start + 1, frame.size()));
        }
    }
    for (const auto& [key, part] : parts) {
        if (!places.contains(key)) {
            throw std::invalid_argument("there is no @" + key + "@ to fill");
        }
    }
    return text;
}
