// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/NearMiss.h"

#include "Base/VELText.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t longestName = 64;
constexpr std::size_t shortestPart = 3;

/// Letters and digits in lower case.
std::u32string bare(std::string_view text) {
    std::u32string characters = vel::characters(vel::lowercase(text));
    std::erase_if(characters, [](char32_t character) { return !vel::isAlphanumeric(character); });
    return characters;
}

/// How many characters are to be inserted, removed, replaced, or exchanged with their neighbour.
std::size_t editDistance(const std::u32string& left, const std::u32string& right) {
    std::vector<std::vector<std::size_t>> distance(left.size() + 1,
                                                   std::vector<std::size_t>(right.size() + 1));
    for (std::size_t i = 0; i <= left.size(); ++i) {
        for (std::size_t j = 0; j <= right.size(); ++j) {
            if (i == 0 || j == 0) {
                distance[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = left[i - 1] == right[j - 1] ? 0 : 1;
            distance[i][j] = std::min({distance[i - 1][j] + 1, distance[i][j - 1] + 1,
                                       distance[i - 1][j - 1] + replaced});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                distance[i][j] = std::min(distance[i][j], distance[i - 2][j - 2] + 1);
            }
        }
    }
    return distance[left.size()][right.size()];
}

/// A short part stands in too many words: "mac" is meant by "macOS", not by "machine".
bool isPart(const std::u32string& part, const std::u32string& whole) {
    return part.size() >= shortestPart && whole.size() <= part.size() * (part.size() - 1) &&
           whole.find(part) != std::u32string::npos;
}

/// How far two names are apart; nothing: too far to be the same one.
std::optional<std::size_t> nameDistance(const std::u32string& text, const std::u32string& name) {
    const std::size_t distance = editDistance(text, name);
    const std::size_t slips = std::max<std::size_t>(1, name.size() / 4);
    if (distance <= slips || isPart(text, name) || isPart(name, text)) {
        return distance;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> nearestName(std::string_view text,
                                       const std::vector<std::string>& names) {
    if (text.size() > longestName) {
        return std::nullopt;
    }
    const std::u32string wanted = bare(text);
    std::optional<std::string> nearest;
    std::size_t least = 0;
    for (const std::string& name : names) {
        const auto distance = wanted.empty() ? std::nullopt : nameDistance(wanted, bare(name));
        if (distance && (!nearest || *distance < least)) {
            nearest = name;
            least = *distance;
        }
    }
    return nearest;
}
