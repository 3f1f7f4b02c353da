// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallRuleset.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace vel {
namespace {

using JSON = nlohmann::json;

/// Family of addresses, table and name.
using Place = std::tuple<std::string, std::string, std::string>;

struct Chain {
    const JSON* description = nullptr;
    std::vector<const JSON*> rules; // their statements
};

/// Points into the document: copying one that is nested without bounds would exhaust the stack.
struct Ruleset {
    std::map<Place, Chain> chains;
    std::map<Place, const JSON*> verdictMaps; // their elements
};

/// Nothing when `text` is no JSON, or nests deeper than any ruleset does: reading stops there.
std::optional<JSON> readDocument(std::string_view text) {
    constexpr int maximumDepth = 128;
    struct TooDeep {};
    const auto checkDepth = [](int depth, JSON::parse_event_t, const JSON&) {
        return depth <= maximumDepth ? true : throw TooDeep();
    };
    try {
        JSON document = JSON::parse(text, checkDepth, false);
        return document.is_discarded() ? std::nullopt : std::optional(std::move(document));
    } catch (const TooDeep&) {
        return std::nullopt;
    }
}

const JSON* member(const JSON& object, std::string_view name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found == object.end() ? nullptr : &*found;
}

std::string text(const JSON& object, std::string_view name) {
    const JSON* value = member(object, name);
    const auto* string = value == nullptr ? nullptr : value->get_ptr<const std::string*>();
    return string == nullptr ? std::string() : *string;
}

/// nft 1.0.6 prints the name of the table in place of the name of its flag: such a table may be
/// dormant, whatever it is called.
bool mayBeDormant(const JSON& table) {
    const JSON* flags = member(table, "flags");
    if (flags == nullptr) {
        return false;
    }
    const auto isHarmless = [](const JSON& flag) { return flag == "owner" || flag == "persist"; };
    return flags->is_array() ? !std::ranges::all_of(*flags, isHarmless)
                             : !isHarmless(*flags) || *flags == text(table, "name");
}

Place placeOf(const JSON& object, std::string_view nameKey) {
    return {text(object, "family"), text(object, "table"), text(object, nameKey)};
}

Ruleset sortOut(const JSON& objects) {
    Ruleset ruleset;
    std::set<std::pair<std::string, std::string>> dormant;
    for (const JSON& object : objects) {
        if (const JSON* table = member(object, "table"); table != nullptr && mayBeDormant(*table)) {
            dormant.emplace(text(*table, "family"), text(*table, "name"));
        } else if (const JSON* chain = member(object, "chain")) {
            ruleset.chains[placeOf(*chain, "name")].description = chain;
        } else if (const JSON* rule = member(object, "rule")) {
            if (const JSON* statements = member(*rule, "expr")) {
                ruleset.chains[placeOf(*rule, "chain")].rules.push_back(statements);
            }
        } else if (const JSON* map = member(object, "map")) {
            ruleset.verdictMaps[placeOf(*map, "name")] = member(*map, "elem");
        }
    }
    std::erase_if(ruleset.chains, [&dormant](const auto& entry) {
        return dormant.contains({std::get<0>(entry.first), std::get<1>(entry.first)});
    });
    return ruleset;
}

enum class Family { ipv4, ipv6 };

/// What may become of a packet in a chain: a set.
struct Outcomes {
    bool denied = false;
    bool letIn = false;
    bool returned = false; // to the calling chain, or to the policy

    void add(const Outcomes& other) {
        denied |= other.denied;
        letIn |= other.letIn;
        returned |= other.returned;
    }
};

/// How a packet stands to a condition; of several, the first that applies to any of them counts.
enum class Match { never, seldom, mostly, always };

Match matchOfFamily(const JSON& right, std::string_view name, bool isNegated) {
    const JSON* set = member(right, "set");
    const bool isNamed = set != nullptr && set->is_array()
                             ? std::ranges::find(*set, JSON(name)) != set->end()
                             : right == name;
    return isNamed != isNegated ? Match::always : Match::never;
}

bool isEveryAddress(const JSON& right) {
    const JSON* prefix = member(right, "prefix");
    const JSON* length = prefix == nullptr ? nullptr : member(*prefix, "len");
    return length != nullptr && *length == 0;
}

Match matchOf(const JSON& condition, Family family) {
    const JSON* left = member(condition, "left");
    const JSON* right = member(condition, "right");
    if (left == nullptr || right == nullptr) {
        return Match::seldom;
    }
    const std::string operation = text(condition, "op");
    const bool isNegated = operation == "!=";
    const bool isIPv4 = family == Family::ipv4;
    if (const JSON* meta = member(*left, "meta");
        meta != nullptr && (isNegated || operation == "==")) {
        const std::string key = text(*meta, "key");
        if (key == "nfproto") {
            return matchOfFamily(*right, isIPv4 ? "ipv4" : "ipv6", isNegated);
        }
        if (key == "protocol") {
            return matchOfFamily(*right, isIPv4 ? "ip" : "ip6", isNegated);
        }
    }
    if (const JSON* payload = member(*left, "payload")) {
        if (text(*payload, "protocol") == (isIPv4 ? "ip6" : "ip")) {
            return Match::never;
        }
    }
    if (isNegated) {
        return isEveryAddress(*right) ? Match::never : Match::mostly;
    }
    return operation == "==" && isEveryAddress(*right) ? Match::always : Match::seldom;
}

class Judge {
public:
    Judge(const Ruleset& ruleset, Family family) : _ruleset(ruleset), _family(family) {}

    [[nodiscard]] bool isInboundDenied() {
        return std::ranges::any_of(_ruleset.chains, [this](const auto& entry) {
            const auto& [place, chain] = entry;
            if (chain.description == nullptr || !isInputFilter(place, *chain.description)) {
                return false;
            }
            const Outcomes outcomes = outcomesOf(place);
            const bool isDroppedByPolicy = text(*chain.description, "policy") == "drop";
            return !outcomes.letIn && (!outcomes.returned || isDroppedByPolicy);
        });
    }

private:
    // More than the kernel lets chains nest.
    static constexpr std::size_t maximumDepth = 32;

    [[nodiscard]] bool isInputFilter(const Place& place, const JSON& chain) const {
        const std::string& family = std::get<0>(place);
        return (family == "inet" || family == (_family == Family::ipv4 ? "ip" : "ip6")) &&
               text(chain, "type") == "filter" && text(chain, "hook") == "input";
    }

    /// A chain that does not exist, or that calls itself, lets packets in: nothing is known of it.
    Outcomes outcomesOf(const Place& place) {
        constexpr Outcomes unknown = {.letIn = true};
        if (const auto known = _known.find(place); known != _known.end()) {
            return known->second;
        }
        const auto chain = _ruleset.chains.find(place);
        if (chain == _ruleset.chains.end() || _depth == maximumDepth) {
            return unknown;
        }
        _known[place] = unknown;
        ++_depth;
        const Outcomes outcomes = outcomesOfRules(place, chain->second.rules);
        --_depth;
        _known[place] = outcomes;
        return outcomes;
    }

    Outcomes outcomesOfRules(const Place& place, const std::vector<const JSON*>& rules) {
        Outcomes all;
        for (const JSON* statements : rules) {
            const auto [match, verdict] = verdictOfRule(place, *statements);
            if (match <= Match::seldom || !verdict) {
                continue;
            }
            all.add(verdict->ended);
            if (match == Match::always && !verdict->goesOn) {
                return all;
            }
        }
        all.returned = true;
        return all;
    }

    struct Verdict {
        Outcomes ended;
        bool goesOn = false; // with the next rule
    };
    struct RuleVerdict {
        Match match = Match::always;
        std::optional<Verdict> verdict;
    };

    RuleVerdict verdictOfRule(const Place& place, const JSON& statements) {
        RuleVerdict rule;
        for (const JSON& statement : statements) {
            if (!statement.is_object() || statement.size() != 1) {
                rule.match = std::min(rule.match, Match::seldom);
                continue;
            }
            const std::string& kind = statement.begin().key();
            const JSON& content = statement.begin().value();
            if (kind == "match") {
                rule.match = std::min(rule.match, matchOf(content, _family));
            } else if (isWithoutCondition(kind, content)) {
                continue;
            } else if ((rule.verdict = verdictOf(place, kind, content))) {
                return rule;
            } else {
                rule.match = std::min(rule.match, Match::seldom);
            }
            if (rule.match == Match::never) {
                return rule;
            }
        }
        return rule;
    }

    static bool isWithoutCondition(std::string_view kind, const JSON& content) {
        return kind == "counter" || kind == "log" || kind == "mangle" || kind == "notrack" ||
               kind == "continue" ||
               (kind == "xt" && text(content, "type") == "match" &&
                text(content, "name") == "comment");
    }

    std::optional<Verdict> verdictOf(const Place& place, std::string_view kind,
                                     const JSON& content) {
        if (kind == "drop" || kind == "reject" ||
            (kind == "xt" && text(content, "type") == "target" &&
             text(content, "name") == "REJECT")) {
            return Verdict{{.denied = true}};
        }
        if (kind == "accept" || kind == "queue") {
            return Verdict{{.letIn = true}};
        }
        if (kind == "return") {
            return Verdict{{.returned = true}};
        }
        if (kind == "jump" || kind == "goto") {
            Outcomes outcomes =
                outcomesOf({std::get<0>(place), std::get<1>(place), text(content, "target")});
            const bool goesOn = kind == "jump" && outcomes.returned;
            outcomes.returned = outcomes.returned && !goesOn;
            return Verdict{outcomes, goesOn};
        }
        return kind == "vmap" ? verdictOfMap(place, content) : std::nullopt;
    }

    /// The verdict for what no other element of a verdict map names.
    std::optional<Verdict> verdictOfMap(const Place& place, const JSON& content) {
        const JSON* data = member(content, "data");
        const JSON* elements = data == nullptr ? nullptr : member(*data, "set");
        if (data != nullptr && data->is_string() &&
            data->get_ref<const std::string&>().starts_with('@')) {
            const auto map = _ruleset.verdictMaps.find(
                {std::get<0>(place), std::get<1>(place), data->get<std::string>().substr(1)});
            elements = map == _ruleset.verdictMaps.end() ? nullptr : map->second;
        }
        if (elements == nullptr || !elements->is_array()) {
            return std::nullopt;
        }
        for (const JSON& element : *elements) {
            if (element.is_array() && element.size() == 2 && element[0] == "*" &&
                element[1].is_object() && element[1].size() == 1 && !element[1].contains("vmap")) {
                return verdictOf(place, element[1].begin().key(), element[1].begin().value());
            }
        }
        return std::nullopt;
    }

    const Ruleset& _ruleset;
    Family _family;
    std::map<Place, Outcomes> _known;
    std::size_t _depth = 0;
};

} // namespace

std::optional<InboundDenial> inboundDenial(std::string_view ruleset) {
    const std::optional<JSON> document = readDocument(ruleset);
    const JSON* objects = document ? member(*document, "nftables") : nullptr;
    if (objects == nullptr || !objects->is_array()) {
        return std::nullopt;
    }
    const Ruleset sorted = sortOut(*objects);
    return InboundDenial{Judge(sorted, Family::ipv4).isInboundDenied(),
                         Judge(sorted, Family::ipv6).isInboundDenied()};
}

} // namespace vel
