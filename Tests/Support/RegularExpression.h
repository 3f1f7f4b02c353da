// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>

/// Regular expressions of ECMAScript, by functions: <regex> takes seconds to compile in each
/// source.

/// Whether the expression matches the whole text.
bool matchesWhole(const std::string& text, const std::string& expression);

/// Those of the texts that the expression matches as a whole.
std::set<std::string> matchingTexts(const std::set<std::string>& texts,
                                    const std::string& expression);

/// The text with every match replaced. In the replacement, "$&" is the match.
std::string replacedAll(const std::string& text, const std::string& expression,
                        const std::string& replacement);

/// What the first group of the expression matches in the text, each once.
std::set<std::string> firstGroups(const std::string& text, const std::string& expression);

/// An expression that matches the text alone.
std::string escapedForExpression(const std::string& text);
