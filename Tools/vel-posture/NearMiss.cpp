// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/NearMiss.h"

#include "Base/VELText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace {

constexpr std::size_t longestName = 64;
constexpr std::size_t shortestPart = 3;

/// Letters and digits in lower case.
std::u32string bare(std::string_view text) {
    std::u32string characters = vel::characters(vel::lowercase(text));
    std::erase_if(characters, [](char32_t character) { return !vel::isAlphanumeric(character); });
    return characters;
}

using DistanceRow = std::array<std::size_t, longestName + 1>;

/// How many characters are to be inserted, removed, replaced, or exchanged with their neighbour.
/// `right` has at most `longestName` characters.
std::size_t editDistance(const std::u32string& left, const std::u32string& right) {
    DistanceRow beforeLast{};
    DistanceRow last{};
    DistanceRow row{};
    for (std::size_t i = 0; i <= left.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            if (i == 0) {
                row[j] = j;
                continue;
            }
            const std::size_t replaced = left[i - 1] == right[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + replaced});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
        beforeLast = std::exchange(last, row);
    }
    return last[right.size()];
}

/// A short part stands in too many words: "mac" is meant by "macOS", not by "machine".
bool isPart(const std::u32string& part, const std::u32string& whole) {
    return part.size() >= shortestPart && whole.size() <= part.size() * (part.size() - 1) &&
           whole.find(part) != std::u32string::npos;
}

/// The distance of two names; nullopt if they are too far apart to be the same.
std::optional<std::size_t> nameDistance(const std::u32string& name, const std::u32string& text) {
    const std::size_t slips = std::max<std::size_t>(1, name.size() / 4);
    const bool isAlikeInSize =
        text.size() <= name.size() + slips && name.size() <= text.size() + slips;
    const bool isInEither = isPart(text, name) || isPart(name, text);
    if (!isInEither && !isAlikeInSize) {
        return std::nullopt;
    }
    const std::size_t distance = editDistance(name, text);
    return isInEither || distance <= slips ? std::optional(distance) : std::nullopt;
}

} // namespace

std::optional<std::string> nearestName(std::string_view text,
                                       const std::vector<std::string>& names) {
    const std::u32string wanted = text.size() <= longestName ? bare(text) : std::u32string();
    if (wanted.empty() || wanted.size() > longestName) { // lower case may be longer
        return std::nullopt;
    }
    std::optional<std::string> nearest;
    std::size_t least = 0;
    for (const std::string& name : names) {
        const auto distance = nameDistance(bare(name), wanted);
        if (distance && (!nearest || *distance < least)) {
            nearest = name;
            least = *distance;
        }
    }
    return nearest;
}
