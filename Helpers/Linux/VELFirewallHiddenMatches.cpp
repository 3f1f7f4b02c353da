// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallHiddenMatches.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <utility>

namespace vel {
namespace {

using Words = std::vector<std::string_view>;
/// Family and name of a table, and the handle of a rule there.
using RuleHandle = std::tuple<std::string_view, std::string_view, std::string_view>;

/// The words of a line. A quoted text is one word and keeps its quotes.
Words wordsOf(std::string_view line) {
    Words words;
    for (std::size_t i = 0; i < line.size();) {
        if (line[i] == ' ' || line[i] == '\t') {
            ++i;
            continue;
        }
        const std::size_t end =
            line[i] == '"' ? line.find('"', i + 1) : line.find_first_of(" \t", i) - 1;
        const std::size_t length = std::min(end, line.size() - 1) - i + 1;
        words.push_back(line.substr(i, length));
        i += length;
    }
    return words;
}

std::map<RuleHandle, Words> rulesByHandle(std::string_view listing) {
    std::map<RuleHandle, Words> rules;
    std::string_view family;
    std::string_view table;
    while (!listing.empty()) {
        const std::string_view line = listing.substr(0, listing.find('\n'));
        listing.remove_prefix(std::min(line.size() + 1, listing.size()));
        Words words = wordsOf(line);
        if (words.size() >= 4 && words[0] == "table" && words[3] == "{") {
            family = words[1];
            table = words[2];
        } else if (words.size() > 3 && words[words.size() - 3] == "#" &&
                   words[words.size() - 2] == "handle") {
            const std::string_view handle = words.back();
            words.resize(words.size() - 3);
            if (words.back() == "{") { // a chain, a set or another object
                continue;
            }
            rules[{family, table, handle}] = std::move(words);
        }
    }
    return rules;
}

RulesJSON scalar(std::string_view word) {
    std::uint32_t number = 0;
    const auto [end, problem] = std::from_chars(word.data(), word.data() + word.size(), number);
    return problem == std::errc() && end == word.data() + word.size() ? RulesJSON(number)
                                                                      : RulesJSON(word);
}

/// "22", "1000-2000" or a name. Null for what is neither, such as an operator.
RulesJSON value(std::string_view word) {
    if (word.empty() || std::isalnum(static_cast<unsigned char>(word.front())) == 0) {
        return nullptr;
    }
    const std::size_t dash = word.find('-');
    if (dash != std::string_view::npos) {
        const RulesJSON first = scalar(word.substr(0, dash));
        const RulesJSON last = scalar(word.substr(dash + 1));
        if (first.is_number() && last.is_number()) {
            return {{"range", {first, last}}};
        }
    }
    return scalar(word);
}

/// "new", "established,related" or "{ 22, 80 }" from `next` on, which is moved behind it. Null when
/// there is none.
RulesJSON values(const Words& words, std::size_t& next) {
    RulesJSON list = RulesJSON::array();
    const bool isSet = next < words.size() && words[next] == "{";
    next += isSet ? 1 : 0;
    for (; next < words.size() && words[next] != "}"; ++next) {
        for (std::string_view rest = words[next]; !rest.empty();) {
            const std::string_view part = rest.substr(0, rest.find(','));
            rest.remove_prefix(std::min(part.size() + 1, rest.size()));
            list.push_back(value(part));
        }
        if (!isSet) {
            break;
        }
    }
    ++next;
    return list.empty()       ? RulesJSON(nullptr)
           : isSet            ? RulesJSON{{"set", std::move(list)}}
           : list.size() == 1 ? list[0]
                              : list;
}

/// What a condition begins with, and how many words that takes. Null when it is none of those that
/// iptables' matches become.
std::pair<RulesJSON, std::size_t> expressionAt(const Words& words, std::size_t index) {
    const auto word = [&words, index](std::size_t offset) {
        return index + offset < words.size() ? words[index + offset] : std::string_view();
    };
    if (word(0) == "ct") {
        return {{{"ct", {{"key", word(1)}}}}, 2};
    }
    if (word(0) == "pkttype") {
        return {{{"meta", {{"key", word(0)}}}}, 1};
    }
    if (word(0) == "fib" && word(2) == "type") {
        return {{{"fib", {{"result", "type"}, {"flags", word(1)}}}}, 3};
    }
    if (word(0) == "fib") { // "fib daddr . iif type local"
        return {{{"fib", {{"result", "type"}, {"flags", {word(1), word(3)}}}}}, 5};
    }
    if (word(1) == "dport" || word(1) == "sport") {
        return {{{"payload", {{"protocol", word(0)}, {"field", word(1)}}}}, 2};
    }
    return {nullptr, 0};
}

/// The name of the match of iptables that becomes such a condition.
std::string_view matchMaking(const RulesJSON& expression) {
    return expression.contains("ct")     ? "conntrack"
           : expression.contains("fib")  ? "addrtype"
           : expression.contains("meta") ? "pkttype"
                                         : "multiport";
}

/// What a rule's line shows.
struct ShownRule {
    RulesJSON conditions = RulesJSON::array();
    std::set<std::string, std::less<>> shown;  // names of matches that became conditions
    std::set<std::string, std::less<>> hidden; // "xt match NAME"
};

ShownRule readRule(const Words& words) {
    ShownRule rule;
    // Quotation marks within a comment, which is the last of a rule, are not told from its end.
    for (std::size_t i = 0; i < words.size() && words[i] != "comment";) {
        if (words[i] == "jump" || words[i] == "goto") {
            i += 2; // a chain may be called "ct"
            continue;
        }
        if (words[i] == "xt" && i + 2 < words.size() && words[i + 1] == "match") {
            std::string name(words[i + 2]);
            std::erase(name, '"');
            rule.hidden.insert(std::move(name));
            i += 3;
            continue;
        }
        auto [expression, length] = expressionAt(words, i);
        if (length == 0) {
            ++i;
            continue;
        }
        i += length;
        const bool isNegated = i < words.size() && words[i] == "!=";
        i += isNegated ? 1 : 0;
        rule.shown.emplace(matchMaking(expression));
        RulesJSON right = values(words, i);
        const char* operation = isNegated ? "!=" : right.is_array() ? "in" : "==";
        rule.conditions.push_back(
            {{"match",
              {{"op", operation}, {"left", std::move(expression)}, {"right", std::move(right)}}}});
    }
    return rule;
}

bool isMatch(const RulesJSON& statement) {
    const RulesJSON* extension = rulesMember(statement, "xt");
    return extension != nullptr && rulesText(*extension, "type") == "match";
}

/// All conditions of a rule have to hold: those that the listing shows are put in front, and may be
/// there twice.
void revealMatches(RulesJSON& statements, const ShownRule& rule) {
    RulesJSON revealed = rule.conditions;
    for (RulesJSON& statement : statements) {
        const std::string name = isMatch(statement) ? rulesText(statement["xt"], "name") : "";
        if (name.empty() || name == "comment" || rule.hidden.contains(name)) {
            revealed.push_back(std::move(statement));
        } else if (!rule.shown.contains(name)) {
            const bool isLost = name == "conntrack" || name == "addrtype" || name == "pkttype" ||
                                name == "multiport";
            revealed.push_back(isLost ? std::move(statement)
                                      : RulesJSON{{"match", RulesJSON::object()}});
        }
    }
    statements = std::move(revealed);
}

} // namespace

bool lacksRules(const RulesJSON& document, std::string_view listing) {
    auto rules = rulesByHandle(listing);
    for (const RulesJSON& object : document["nftables"]) {
        const RulesJSON* rule = rulesMember(object, "rule");
        const RulesJSON* handle = rule == nullptr ? nullptr : rulesMember(*rule, "handle");
        if (handle != nullptr) {
            const std::string family = rulesText(*rule, "family");
            const std::string table = rulesText(*rule, "table");
            rules.erase({family, table, handle->dump()});
        }
    }
    return !rules.empty();
}

void revealHiddenMatches(RulesJSON& document, std::string_view listing) {
    const auto rules = rulesByHandle(listing);
    for (RulesJSON& object : document["nftables"]) {
        const RulesJSON* rule = rulesMember(object, "rule");
        const RulesJSON* statements = rule == nullptr ? nullptr : rulesMember(*rule, "expr");
        const RulesJSON* handle = rule == nullptr ? nullptr : rulesMember(*rule, "handle");
        if (statements == nullptr || handle == nullptr || !statements->is_array() ||
            std::ranges::none_of(*statements, isMatch)) {
            continue;
        }
        const std::string family = rulesText(*rule, "family");
        const std::string table = rulesText(*rule, "table");
        const std::string number = handle->dump();
        if (const auto shown = rules.find({family, table, number}); shown != rules.end()) {
            revealMatches(object["rule"]["expr"], readRule(shown->second));
        }
    }
}

} // namespace vel
