// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallEvaluation.h"

#include <algorithm>
#include <array>
#include <utility>

namespace vel {
namespace {

// More than the kernel lets chains nest.
constexpr std::size_t maximumDepth = 32;

template <std::size_t count>
bool isAmong(const std::array<const char*, count>& names, const std::string& name) {
    return std::ranges::find(names, name) != names.end();
}

/// Extensions of iptables that end no chain.
bool isPassingTarget(const std::string& name) {
    constexpr std::array names = {
        "LOG", "NFLOG",   "AUDIT",       "TRACE", "MARK",     "CONNMARK", "CT",      "DSCP",
        "TOS", "SECMARK", "CONNSECMARK", "SET",   "CLASSIFY", "TCPMSS",   "NOTRACK", "CHECKSUM"};
    return isAmong(names, name);
}

/// Statements after which the packet and its way are what they were.
bool isPassing(const std::string& kind, const RulesJSON& content) {
    constexpr std::array kinds = {"counter",   "log",        "notrack",        "continue",
                                  "ct helper", "ct timeout", "ct expectation", "secmark"};
    if (kind == "mangle") {
        const RulesJSON* key = rulesMember(content, "key");
        const RulesJSON* meta = key == nullptr ? nullptr : rulesMember(*key, "meta");
        const std::string name = meta == nullptr ? "" : rulesText(*meta, "key");
        return name == "mark" || name == "priority" || name == "nftrace" || name == "secmark" ||
               (key != nullptr && rulesMember(*key, "ct") != nullptr);
    }
    return isAmong(kinds, kind);
}

/// Whether a statement may end the rule for a packet, because it has no value for it: one that is
/// looked up in a map without an entry for the packet, or read from what the packet does not have.
bool mayLackValue(const std::string& kind, const RulesJSON& content) {
    const RulesJSON* value = kind == "mangle" ? rulesMember(content, "value") : nullptr;
    return value != nullptr ? !value->is_number() : rulesMember(content, "map") != nullptr;
}

/// Conditions whose value depends on earlier packets.
bool isUnknownCondition(const std::string& kind) {
    constexpr std::array kinds = {"limit", "quota", "ct count", "set", "map", "meter"};
    return isAmong(kinds, kind);
}

} // namespace

/// Where the packet stands in a chain. It may be in several places, and ports do not depend on each
/// other: each place is a set of ports.
struct FirewallEvaluation::Progress {
    const RulesPlace& chain;
    Outcome outcome = {};
    PortSet here = PortSet::all(); // before the rule
    PortSet after = {};            // back from a jump, before the next rule
    PortMatch rule = {};           // what the rule's statements so far let through
    bool isHidden = false;         // one of them is a hidden match

    /// The packet leaves the rule with a verdict.
    void leave() { here -= rule.must; }

    /// It may be let in here: what becomes of it otherwise no longer matters.
    void mayAccept() { outcome.accepted |= rule.may; }
};

PortSet FirewallEvaluation::openPorts() {
    PortSet translated;
    _isTranslation = true;
    for (const RulesPlace& place : baseChains("nat", "prerouting")) {
        translated |= outcomeOf(place).accepted;
    }
    PortSet passing = PortSet::all();
    _isTranslation = false;
    _known.clear();
    for (const RulesPlace& place : baseChains("filter", "input")) {
        if (const FirewallChain& chain = _rules.chains.at(place); !chain.mayBeDormant) {
            const Outcome outcome = outcomeOf(place);
            passing &= outcome.accepted | (chain.isPolicyDrop ? PortSet() : outcome.returned);
        }
    }
    return passing | translated;
}

std::vector<RulesPlace> FirewallEvaluation::baseChains(std::string_view type,
                                                       std::string_view hook) const {
    const bool isIPv4 = _packet.network == UnsolicitedPacket::Network::ipv4;
    std::vector<RulesPlace> places;
    for (const auto& [place, chain] : _rules.chains) {
        const std::string& family = std::get<0>(place);
        if (chain.type == type && chain.hook == hook &&
            (family == "inet" || family == (isIPv4 ? "ip" : "ip6"))) {
            places.push_back(place);
        }
    }
    return places;
}

/// A chain that does not exist, or lies too deep, lets packets in: nothing is known of it. Each is
/// followed once for all ports; a caller takes those that it sends there.
FirewallEvaluation::Outcome FirewallEvaluation::outcomeOf(const RulesPlace& place) {
    const Outcome unknown = {.accepted = PortSet::all(), .returned = PortSet::all()};
    if (const auto known = _known.find(place); known != _known.end()) {
        return known->second;
    }
    const auto chain = _rules.chains.find(place);
    if (chain == _rules.chains.end() || _depth == maximumDepth) {
        return unknown;
    }
    ++_depth;
    Progress progress = {.chain = place};
    for (const RulesJSON* statements : chain->second.rules) {
        applyRule(*statements, progress);
    }
    progress.outcome.returned |= progress.here;
    --_depth;
    return _known[place] = std::move(progress.outcome);
}

void FirewallEvaluation::applyRule(const RulesJSON& statements, Progress& progress) {
    progress.rule = {progress.here, progress.here};
    progress.isHidden = false;
    progress.after = {};
    for (const RulesJSON& statement : statements) {
        if (progress.rule.may.isEmpty() || !applyStatement(statement, progress)) {
            break;
        }
    }
    progress.here |= progress.after;
}

/// False when the rule ends there.
bool FirewallEvaluation::applyStatement(const RulesJSON& statement, Progress& progress) {
    const bool isOne = statement.is_object() && statement.size() == 1;
    const std::string kind = isOne ? statement.begin().key() : std::string();
    const RulesJSON& content = isOne ? statement.begin().value() : statement;
    if (kind == "match") {
        const FirewallConditions conditions(_rules, _packet, progress.chain);
        progress.rule = progress.rule & conditions.ofStatement(content);
        return true;
    }
    if (kind == "vmap") {
        applyVerdictMap(content, progress);
        return true;
    }
    if (kind == "xt" && rulesText(content, "type") == "match") {
        if (rulesText(content, "name") != "comment") {
            progress.isHidden = true;
            progress.rule.must =
                _hidden == HiddenMatches::asUnknown ? PortSet() : progress.rule.must;
        }
        return true;
    }
    if (isUnknownCondition(kind)) {
        progress.rule.must = {};
        return true;
    }
    if (isPassing(kind, content)) {
        progress.rule.must = mayLackValue(kind, content) ? PortSet() : progress.rule.must;
        return true;
    }
    return applyVerdict(kind, content, progress);
}

/// False when the rule ends there, for it was a verdict or has to count as one: a statement that is
/// not known may let the packet in.
bool FirewallEvaluation::applyVerdict(const std::string& kind, const RulesJSON& content,
                                      Progress& progress) {
    const auto& [family, table, name] = progress.chain;
    const std::string target = kind == "xt" ? rulesText(content, "name") : std::string();
    const bool isIPv4 = _packet.network == UnsolicitedPacket::Network::ipv4;
    if (isPassingTarget(target)) {
        return true;
    }
    if (kind == "jump" || kind == "goto") {
        applyJump({family, table, rulesText(content, "target")}, kind == "jump", progress);
        return false;
    }
    if (kind == "reject") {
        // What a kind of reply needs is not always printed as a condition.
        const std::string type = rulesText(content, "type");
        const bool isReached = type == "tcp reset"
                                   ? _packet.transport == UnsolicitedPacket::Transport::tcp
                                   : type != (isIPv4 ? "icmpv6" : "icmp");
        if (isReached) {
            progress.leave();
        }
        return false;
    }
    if (kind == "drop" || target == "REJECT") {
        progress.leave();
        return false;
    }
    if (progress.isHidden && _hidden == HiddenMatches::asRefusing) {
        return false;
    }
    if (kind == "return") {
        progress.outcome.returned |= progress.rule.may;
        progress.leave();
        return false;
    }
    if (kind == "accept" && _isTranslation) {
        progress.leave();
        return false;
    }
    const bool isHidden = kind == "xt" && target.empty();
    if (isHidden && _hidden == HiddenMatches::asRefusing) {
        progress.leave();
        return false;
    }
    // "accept", "queue", "redirect", and what is not known.
    progress.mayAccept();
    return false; // nothing that follows could keep it out
}

void FirewallEvaluation::applyJump(const RulesPlace& target, bool comesBack, Progress& progress) {
    const Outcome outcome = outcomeOf(target);
    if (progress.isHidden && _hidden == HiddenMatches::asRefusing) {
        const PortSet refused = ~(outcome.accepted | outcome.returned);
        progress.rule = {progress.rule.may & refused, progress.rule.must & refused};
    }
    progress.outcome.accepted |= outcome.accepted & progress.rule.may;
    (comesBack ? progress.after : progress.outcome.returned) |=
        outcome.returned & progress.rule.may;
    progress.leave();
}

void FirewallEvaluation::applyVerdictMap(const RulesJSON& content, Progress& progress) {
    const FirewallConditions conditions(_rules, _packet, progress.chain);
    const RulesJSON* key = rulesMember(content, "key");
    const RulesJSON* data = rulesMember(content, "data");
    const RulesJSON* elements = data == nullptr ? nullptr : rulesMember(*data, "set");
    const FirewallSet* map = data == nullptr ? nullptr : conditions.setNamed(*data);
    if (map != nullptr) {
        elements = map->elements;
    }
    const bool isEmpty = map != nullptr && elements == nullptr && !map->mayChange;
    if (key == nullptr || (map != nullptr && map->mayChange) || (elements == nullptr && !isEmpty)) {
        progress.mayAccept();
        return;
    }
    const PortMatch arriving = progress.rule;
    PortMatch rest = conditions.ofElement(*key, "*"); // named by no element
    PortMatch continuing;
    const RulesJSON* other = nullptr;
    const auto apply = [&](const PortMatch& match, const RulesJSON& verdict) {
        progress.rule = arriving & match;
        const bool isOne = verdict.is_object() && verdict.size() == 1;
        const std::string kind = isOne ? verdict.begin().key() : std::string();
        if (kind == "continue" ||
            applyVerdict(kind, isOne ? verdict.begin().value() : verdict, progress)) {
            continuing.may |= progress.rule.may;
            continuing.must |= progress.rule.must;
        }
    };
    const RulesJSON none = RulesJSON::array();
    for (const RulesJSON& element : isEmpty ? none : *elements) {
        if (!element.is_array() || element.size() != 2) {
            apply(PortMatch::unknown(), element);
        } else if (element[0] == "*") {
            other = &element[1];
        } else {
            const PortMatch match = conditions.ofElement(*key, element[0]);
            rest = rest & ~match;
            apply(match, element[1]);
        }
    }
    if (other != nullptr) {
        apply(rest, *other);
    }
    progress.rule = continuing;
}

} // namespace vel
