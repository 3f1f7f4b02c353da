// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/Finding.h"

#include "Base/VELText.h"
#include "Tools/vel-posture/DisplayText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t widestKey = 40;
constexpr std::size_t widestText = 48;
constexpr std::size_t deepestPlace = 8;
constexpr std::size_t mostCharactersNamed = 3;

bool isPlainKey(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
               (character >= '0' && character <= '9') || character == '_' || character == '-';
    });
}

std::string nameOf(char32_t character) {
    if (vel::isLineTerminator(character)) {
        return "line breaks";
    }
    switch (character) {
    case U' ':
        return "spaces";
    case U'\t':
        return "tabs";
    case U'\u00A0':
        return "no-break spaces";
    case U':':
        return "colons";
    case U'-':
        return "hyphens";
    default: {
        std::string text;
        vel::appendUTF8(character, text);
        return finding::quoted(text);
    }
    }
}

/// `text` as a terminal can show it, in at most `columns`. What takes no column counts as well.
std::string shortened(std::string_view text, std::size_t columns) {
    constexpr std::size_t mostBytesOfColumn = 16;
    return truncated(printable(text.substr(0, mostBytesOfColumn * columns)), columns);
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (std::size_t index = 0; index < words.size(); ++index) {
        if (index > 0) {
            text += index + 1 == words.size() ? " and " : ", ";
        }
        text += words[index];
    }
    return text;
}

} // namespace

Place Place::below(std::string_view text) const {
    Place place = *this;
    if (++place._depth <= deepestPlace) {
        place._text += text;
    } else if (place._depth == deepestPlace + 1) {
        place._text += "…";
    }
    return place;
}

Place Place::key(std::string_view name) const {
    const std::string shown = shortened(name, widestKey);
    if (!isPlainKey(name)) {
        return below("[\"" + shown + "\"]");
    }
    return below(_text.empty() ? shown : "." + shown);
}

Place Place::element(std::size_t index) const {
    return below("[" + std::to_string(index) + "]");
}

void FindingList::add(const FindingRule& rule, const Place& place, std::string problem,
                      std::string advice) {
    if (_findings.size() < maximum) {
        _findings.push_back({place.text(), std::move(problem), std::move(advice), rule});
    } else {
        ++_dropped;
    }
}

std::vector<Finding> FindingList::take() {
    if (_dropped > 0) {
        _findings.push_back({"the request", "has " + std::to_string(_dropped) + " more findings",
                             "fix those listed, then run lint again", rule::moreFindings});
        _dropped = 0;
    }
    return std::exchange(_findings, {});
}

std::string finding::quoted(std::string_view text) {
    return "\"" + shortened(text, widestText) + "\"";
}

std::string_view finding::kindOf(const VELValue& value) {
    switch (value.type()) {
    case VELValue::value_t::object:
        return "an object";
    case VELValue::value_t::array:
        return "an array";
    case VELValue::value_t::string:
        return "a string";
    case VELValue::value_t::boolean:
        return "a boolean";
    case VELValue::value_t::number_integer:
    case VELValue::value_t::number_unsigned:
    case VELValue::value_t::number_float:
        return "a number";
    default:
        return "null";
    }
}

std::string finding::wrongKind(const VELValue& value, std::string_view wanted) {
    return "is " + std::string(kindOf(value)) + ", not " + std::string(wanted);
}

std::string finding::charactersIn(std::u32string_view characters) {
    std::vector<std::string> names;
    std::u32string seen;
    for (const char32_t character : characters) {
        if (seen.find(character) != std::u32string::npos) {
            continue;
        }
        seen += character;
        std::string name = nameOf(character);
        if (std::find(names.begin(), names.end(), name) != names.end()) {
            continue;
        }
        if (names.size() == mostCharactersNamed) {
            names.emplace_back("others");
            break;
        }
        names.push_back(std::move(name));
    }
    return joined(names);
}

std::string finding::entryIsAnError(std::string_view text) {
    return ": the entry is an error (\"" + std::string(text) + "\")";
}

std::string finding::listed(const std::vector<std::string>& names) {
    return joined(names);
}

std::string finding::didYouMean(std::string_view name) {
    return "did you mean " + quoted(name) + "?";
}
