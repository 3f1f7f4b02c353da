// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallRules.h"

#include <algorithm>

namespace vel {
namespace {

/// nft 1.0.6 prints the name of the table in place of the name of its flag: such a table may be
/// dormant, whatever it is called.
bool mayBeDormant(const RulesJSON& table) {
    const RulesJSON* flags = rulesMember(table, "flags");
    if (flags == nullptr) {
        return false;
    }
    const auto isHarmless = [&table](const RulesJSON& flag) {
        return (flag == "owner" || flag == "persist") && flag != rulesText(table, "name");
    };
    return flags->is_array() ? !std::ranges::all_of(*flags, isHarmless) : !isHarmless(*flags);
}

RulesPlace placeOf(const RulesJSON& object, std::string_view nameKey) {
    return {rulesText(object, "family"), rulesText(object, "table"), rulesText(object, nameKey)};
}

void describeChain(FirewallChain& chain, const RulesJSON& description) {
    chain.type = rulesText(description, "type");
    chain.hook = rulesText(description, "hook");
    chain.isPolicyDrop = rulesText(description, "policy") == "drop";
}

/// Flags or not: nft 1.0.6 leaves the flag "dynamic" out, so that rules which add to a set count.
FirewallSet describeSet(const RulesJSON& description) {
    FirewallSet set{rulesMember(description, "elem")};
    if (const RulesJSON* flags = rulesMember(description, "flags")) {
        set.mayChange = !flags->is_array() || std::ranges::any_of(*flags, [](const auto& flag) {
            return flag == "dynamic" || flag == "timeout";
        });
    }
    return set;
}

void noteEffects(FirewallRules& rules, const RulesPlace& chain, const RulesJSON& statement) {
    if (rulesMember(statement, "notrack") != nullptr) {
        rules.mayBeUntracked = true;
    } else if (const RulesJSON* target = rulesMember(statement, "xt")) {
        const std::string name = rulesText(*target, "name");
        rules.mayBeUntracked |= name == "CT" || name == "NOTRACK" || target->is_null();
    } else {
        for (const char* kind : {"set", "map"}) {
            const RulesJSON* change = rulesMember(statement, kind);
            const std::string name = change == nullptr ? "" : rulesText(*change, kind);
            if (name.starts_with('@')) {
                const auto& [family, table, ignored] = chain;
                rules.sets[{family, table, name.substr(1)}].mayChange = true;
            }
        }
    }
}

void sortObject(FirewallRules& rules, const RulesJSON& object) {
    if (const RulesJSON* chain = rulesMember(object, "chain")) {
        describeChain(rules.chains[placeOf(*chain, "name")], *chain);
    } else if (const RulesJSON* rule = rulesMember(object, "rule")) {
        const RulesPlace place = placeOf(*rule, "chain");
        if (const RulesJSON* statements = rulesMember(*rule, "expr")) {
            rules.chains[place].rules.push_back(statements);
            for (const RulesJSON& statement : *statements) {
                noteEffects(rules, place, statement);
            }
        }
    } else {
        for (const char* kind : {"set", "map"}) {
            if (const RulesJSON* set = rulesMember(object, kind)) {
                FirewallSet described = describeSet(*set);
                FirewallSet& kept = rules.sets[placeOf(*set, "name")];
                described.mayChange |= kept.mayChange;
                kept = described;
            }
        }
    }
}

} // namespace

std::optional<RulesJSON> readRulesDocument(std::string_view text) {
    constexpr int maximumDepth = 128;
    struct TooDeep {};
    const auto checkDepth = [](int depth, RulesJSON::parse_event_t, const RulesJSON&) {
        return depth <= maximumDepth ? true : throw TooDeep();
    };
    try {
        RulesJSON document = RulesJSON::parse(text, checkDepth, false);
        const RulesJSON* objects = rulesMember(document, "nftables");
        return objects != nullptr && objects->is_array() ? std::optional(std::move(document))
                                                         : std::nullopt;
    } catch (const TooDeep&) {
        return std::nullopt;
    }
}

FirewallRules sortRules(const RulesJSON& document) {
    FirewallRules rules;
    std::set<std::pair<std::string, std::string>> dormant;
    const RulesJSON* objects = rulesMember(document, "nftables");
    if (objects == nullptr) {
        return rules;
    }
    for (const RulesJSON& object : *objects) {
        sortObject(rules, object);
        const RulesJSON* table = rulesMember(object, "table");
        if (table != nullptr && mayBeDormant(*table)) {
            dormant.emplace(rulesText(*table, "family"), rulesText(*table, "name"));
        }
    }
    for (auto& [place, chain] : rules.chains) {
        chain.mayBeDormant = dormant.contains({std::get<0>(place), std::get<1>(place)});
    }
    return rules;
}

const RulesJSON* rulesMember(const RulesJSON& object, std::string_view name) {
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found == object.end() ? nullptr : &*found;
}

std::string rulesText(const RulesJSON& object, std::string_view name) {
    const RulesJSON* value = rulesMember(object, name);
    const auto* string = value == nullptr ? nullptr : value->get_ptr<const std::string*>();
    return string == nullptr ? std::string() : *string;
}

} // namespace vel
