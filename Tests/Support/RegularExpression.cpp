// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/RegularExpression.h"

#include <algorithm>
#include <iterator>
#include <regex>

bool matchesWhole(const std::string& text, const std::string& expression) {
    return std::regex_match(text, std::regex(expression));
}

std::set<std::string> matchingTexts(const std::set<std::string>& texts,
                                    const std::string& expression) {
    const std::regex pattern(expression);
    std::set<std::string> matching;
    std::copy_if(texts.begin(), texts.end(), std::inserter(matching, matching.end()),
                 [&pattern](const std::string& text) { return std::regex_match(text, pattern); });
    return matching;
}

std::string replacedAll(const std::string& text, const std::string& expression,
                        const std::string& replacement) {
    return std::regex_replace(text, std::regex(expression), replacement);
}

std::set<std::string> firstGroups(const std::string& text, const std::string& expression) {
    const std::regex pattern(expression);
    std::set<std::string> groups;
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), end; match != end;
         ++match) {
        groups.insert((*match)[1]);
    }
    return groups;
}

std::string escapedForExpression(const std::string& text) {
    return replacedAll(text, R"([.*+?^$()\[\]{}|\\])", R"(\$&)");
}
