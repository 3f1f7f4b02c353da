// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

/// What "nft -j list ruleset" printed, sorted by chains and sets. Nothing is judged here.
namespace vel {

using RulesJSON = nlohmann::json;

/// Family of addresses, table and name (of a chain, a set or a map).
using RulesPlace = std::tuple<std::string, std::string, std::string>;

struct FirewallChain {
    /// Empty in a chain that is only jumped to.
    std::string type;
    std::string hook;
    bool isPolicyDrop = false;
    /// Its table may be switched off.
    bool mayBeDormant = false;
    /// The statements of each rule: an array, or whatever stood in its place.
    std::vector<const RulesJSON*> rules;
};

struct FirewallSet {
    /// Null when it has none. Those of a map are pairs.
    const RulesJSON* elements = nullptr;
    /// Packets or time change it: what it holds is not known.
    bool mayChange = false;
};

/// Points into the document that it was sorted from.
struct FirewallRules {
    std::map<RulesPlace, FirewallChain> chains;
    std::map<RulesPlace, FirewallSet> sets; // and maps: they share their names
    /// A rule exempts packets from connection tracking, or may do so.
    bool mayBeUntracked = false;
};

/// Nullopt when `text` is not what nft prints: no JSON, no list "nftables", or nested too deeply.
std::optional<RulesJSON> readRulesDocument(std::string_view text);

/// What in the document has no place in a ruleset is left out.
FirewallRules sortRules(const RulesJSON& document);

/// A member of an object. Null when it has none of that name, or is no object.
const RulesJSON* rulesMember(const RulesJSON& object, std::string_view name);
/// A member that is a text; empty when there is none.
std::string rulesText(const RulesJSON& object, std::string_view name);

} // namespace vel
