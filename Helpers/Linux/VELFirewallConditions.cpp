// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallConditions.h"
#include "Helpers/Linux/VELAddressRange.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace vel {
namespace {

using Network = UnsolicitedPacket::Network;
using Transport = UnsolicitedPacket::Transport;

PortMatch certainly(bool holds) {
    return holds ? PortMatch::always() : PortMatch::never();
}

/// A property of a known value, against the one name that a rule gives.
PortMatch ofName(std::string_view known, const RulesJSON& value) {
    return value.is_string() ? certainly(value == known) : PortMatch::unknown();
}

std::optional<std::uint32_t> number(const RulesJSON& value) {
    const auto* unsignedNumber = value.get_ptr<const RulesJSON::number_unsigned_t*>();
    return unsignedNumber != nullptr && *unsignedNumber <= UINT32_MAX
               ? std::optional(static_cast<std::uint32_t>(*unsignedNumber))
               : std::nullopt;
}

/// The two ends of {"range": [first, last]}. Null when the value is no such object.
const RulesJSON* ends(const RulesJSON& value) {
    const RulesJSON* range = rulesMember(value, "range");
    return range != nullptr && range->is_array() && range->size() == 2 ? range : nullptr;
}

PortMatch ofPorts(const RulesJSON& value) {
    const RulesJSON* range = ends(value);
    const auto first = number(range == nullptr ? value : (*range)[0]);
    const auto last = number(range == nullptr ? value : (*range)[1]);
    if (!first || !last) {
        return PortMatch::unknown();
    }
    const PortSet ports({{*first, *last}});
    return {ports, ports};
}

std::optional<AddressRange> addresses(const RulesJSON& value) {
    const auto string = [](const RulesJSON& json) {
        const auto* text = json.get_ptr<const std::string*>();
        return text == nullptr ? std::string() : *text;
    };
    if (const RulesJSON* range = ends(value)) {
        return addressRange(string((*range)[0]), string((*range)[1]));
    }
    if (const RulesJSON* prefix = rulesMember(value, "prefix")) {
        const RulesJSON* length = rulesMember(*prefix, "len");
        const auto bits = length == nullptr ? std::nullopt : number(*length);
        return bits ? addressPrefix(rulesText(*prefix, "addr"), *bits) : std::nullopt;
    }
    return addressRange(string(value), string(value));
}

PortMatch ofAddresses(const RulesJSON& value, Network network,
                      Coverage (*coverage)(const AddressRange&)) {
    const auto range = addresses(value);
    if (!range || range->isIPv6 != (network == Network::ipv6)) {
        return PortMatch::unknown();
    }
    switch (coverage(*range)) {
    case Coverage::none:
        return PortMatch::never();
    case Coverage::part:
        return PortMatch::unknown();
    case Coverage::all:
        return PortMatch::always();
    }
    return PortMatch::unknown();
}

PortMatch ofInterface(const std::string& interface, const RulesJSON& value) {
    if (value.is_number()) {
        return PortMatch::never(); // it stands for an interface that is gone
    }
    const auto* text = value.get_ptr<const std::string*>();
    if (text == nullptr || text->find('\\') != std::string::npos) {
        return PortMatch::unknown(); // a range of indexes, say
    }
    return certainly(text->ends_with('*') ? interface.starts_with(text->substr(0, text->size() - 1))
                                          : interface == *text);
}

/// The ports for which a comparison holds. Nothing: it is of another kind.
std::optional<PortSet> comparedPorts(const std::string& operation, std::uint32_t port) {
    const std::uint32_t below = port == 0 ? 0 : port - 1;
    const std::uint32_t above = port == UINT32_MAX ? port : port + 1;
    if (operation == "<") {
        return PortSet({{0, below}});
    }
    if (operation == "<=") {
        return PortSet({{0, port}});
    }
    if (operation == ">") {
        return PortSet({{above, UINT32_MAX}});
    }
    if (operation == ">=") {
        return PortSet({{port, UINT32_MAX}});
    }
    return std::nullopt;
}

bool isPort(const RulesJSON& expression) {
    const RulesJSON* payload = rulesMember(expression, "payload");
    return payload != nullptr && rulesText(*payload, "field") == "dport";
}

} // namespace

PortMatch FirewallConditions::ofStatement(const RulesJSON& match) const {
    const RulesJSON* left = rulesMember(match, "left");
    const RulesJSON* right = rulesMember(match, "right");
    if (left == nullptr || right == nullptr) {
        return PortMatch::unknown();
    }
    if (!canHold(*left)) {
        return PortMatch::never();
    }
    const std::string operation = rulesText(match, "op");
    // Of several states in a list any may hold. What is meant by a list that is negated, and has
    // the packet's state in it, or by one that is to be equal, differs between versions.
    if (right->is_array() && operation != "in") {
        const bool isOther = operation == "!=" && ofValue(*left, *right) == PortMatch::never();
        return isOther ? PortMatch::always() : PortMatch::unknown();
    }
    if (operation == "==" || operation == "in") {
        return ofValue(*left, *right);
    }
    if (operation == "!=") {
        return ~ofValue(*left, *right);
    }
    const auto port = isPort(*left) ? number(*right) : std::nullopt;
    const auto ports = port ? comparedPorts(operation, *port) : std::nullopt;
    return ports ? PortMatch{*ports, *ports} : PortMatch::unknown();
}

/// False for a header that the packet does not have: then a rule does not match, negated or not.
bool FirewallConditions::canHold(const RulesJSON& expression) const {
    if (const RulesJSON* parts = rulesMember(expression, "concat")) {
        return std::ranges::all_of(*parts, [this](const auto& part) { return canHold(part); });
    }
    if (const RulesJSON* operands = rulesMember(expression, "&")) {
        return !operands->is_array() || operands->empty() || canHold((*operands)[0]);
    }
    const RulesJSON* payload = rulesMember(expression, "payload");
    const std::string protocol = payload == nullptr ? "" : rulesText(*payload, "protocol");
    if (protocol == "ip" || protocol == "ip6") {
        return (protocol == "ip") == (_packet.network == Network::ipv4);
    }
    if (protocol == "tcp" || protocol == "udp") {
        return (protocol == "tcp") == (_packet.transport == Transport::tcp);
    }
    constexpr std::array others = {"icmp", "icmpv6", "igmp", "esp",    "ah",
                                   "comp", "sctp",   "dccp", "udplite"};
    return std::ranges::find(others, protocol) == others.end();
}

PortMatch FirewallConditions::ofValue(const RulesJSON& expression, const RulesJSON& value) const {
    if (const RulesJSON* set = rulesMember(value, "set")) {
        return ofSet(expression, set);
    }
    if (value.is_array()) {
        return ofSet(expression, &value);
    }
    if (const FirewallSet* set = setNamed(value)) {
        return set->mayChange ? PortMatch::unknown() : ofSet(expression, set->elements);
    }
    return ofElement(expression, value);
}

const FirewallSet* FirewallConditions::setNamed(const RulesJSON& name) const {
    const auto* text = name.get_ptr<const std::string*>();
    if (text == nullptr || !text->starts_with('@')) {
        return nullptr;
    }
    const auto found =
        _rules.sets.find({std::get<0>(_chain), std::get<1>(_chain), text->substr(1)});
    return found == _rules.sets.end() ? nullptr : &found->second;
}

PortMatch FirewallConditions::ofSet(const RulesJSON& expression, const RulesJSON* elements) const {
    if (elements == nullptr) {
        return PortMatch::never();
    }
    std::vector<PortSet::Interval> may;
    std::vector<PortSet::Interval> must;
    for (const RulesJSON& element : *elements) {
        const PortMatch match = ofElement(expression, element);
        may.insert(may.end(), match.may.intervals().begin(), match.may.intervals().end());
        must.insert(must.end(), match.must.intervals().begin(), match.must.intervals().end());
    }
    return {PortSet(std::move(may)), PortSet(std::move(must))};
}

PortMatch FirewallConditions::ofElement(const RulesJSON& expression,
                                        const RulesJSON& element) const {
    if (!canHold(expression)) {
        return PortMatch::never();
    }
    if (const RulesJSON* described = rulesMember(element, "elem")) {
        const RulesJSON* value = rulesMember(*described, "val");
        return value == nullptr ? PortMatch::unknown() : ofElement(expression, *value);
    }
    if (element == "*") {
        return PortMatch::always();
    }
    if (const RulesJSON* fields = rulesMember(expression, "concat")) {
        const RulesJSON* values = rulesMember(element, "concat");
        if (values == nullptr || !values->is_array() || !fields->is_array() ||
            values->size() != fields->size()) {
            return PortMatch::unknown();
        }
        PortMatch match = PortMatch::always();
        for (std::size_t i = 0; i < fields->size(); ++i) {
            match = match & ofElement((*fields)[i], (*values)[i]);
        }
        return match;
    }
    if (const RulesJSON* payload = rulesMember(expression, "payload")) {
        return ofPayload(*payload, element);
    }
    if (const RulesJSON* meta = rulesMember(expression, "meta")) {
        return ofMeta(rulesText(*meta, "key"), element);
    }
    return ofConnection(expression, element);
}

PortMatch FirewallConditions::ofPayload(const RulesJSON& payload, const RulesJSON& value) const {
    const std::string protocol = rulesText(payload, "protocol");
    const std::string field = rulesText(payload, "field");
    const bool isTransport = protocol == "tcp" || protocol == "udp" || protocol == "th";
    if (isTransport && field == "dport") {
        return ofPorts(value);
    }
    if (protocol == "ip" || protocol == "ip6") {
        if (field == "saddr") {
            return ofAddresses(value, _packet.network, publicAddressesIn);
        }
        if (field == "daddr") {
            return ofAddresses(value, _packet.network, hostAddressesIn);
        }
        if (field == "protocol") {
            return ofTransport(value);
        }
    }
    return PortMatch::unknown(); // "nexthdr", too: an extension header may stand before
}

PortMatch FirewallConditions::ofMeta(const std::string& key, const RulesJSON& value) const {
    const bool isIPv4 = _packet.network == Network::ipv4;
    if (key == "iifname" || key == "iif") {
        return ofInterface(_packet.interface, value);
    }
    if (key == "l4proto") {
        return ofTransport(value);
    }
    if (key == "nfproto") {
        return ofName(isIPv4 ? "ipv4" : "ipv6", value);
    }
    if (key == "protocol") {
        return ofName(isIPv4 ? "ip" : "ip6", value);
    }
    if (key == "pkttype") {
        return ofName(value == "unicast" ? "unicast" : "host", value);
    }
    return PortMatch::unknown();
}

PortMatch FirewallConditions::ofTransport(const RulesJSON& value) const {
    const std::uint32_t protocol = _packet.transport == Transport::tcp ? 6 : 17;
    const auto numberOf = [](const RulesJSON& name) {
        return name == "tcp" ? 6U : name == "udp" ? 17U : number(name);
    };
    if (const RulesJSON* range = ends(value)) {
        const auto first = numberOf((*range)[0]);
        const auto last = numberOf((*range)[1]);
        return first && last ? certainly(*first <= protocol && protocol <= *last)
                             : PortMatch::unknown();
    }
    if (const auto only = numberOf(value)) {
        return certainly(*only == protocol);
    }
    return value.is_string() ? PortMatch::never() : PortMatch::unknown();
}

PortMatch FirewallConditions::ofConnection(const RulesJSON& expression,
                                           const RulesJSON& value) const {
    if (const RulesJSON* fib = rulesMember(expression, "fib")) {
        const RulesJSON* flags = rulesMember(*fib, "flags");
        const bool isDestination =
            flags != nullptr && (*flags == "daddr" || *flags == RulesJSON::array({"daddr"}));
        return isDestination && rulesText(*fib, "result") == "type" ? ofName("local", value)
                                                                    : PortMatch::unknown();
    }
    const RulesJSON* connection = rulesMember(expression, "ct");
    if (connection == nullptr || rulesMember(*connection, "dir") != nullptr) {
        return PortMatch::unknown();
    }
    const auto isOneOf = [&value](std::initializer_list<const char*> names) {
        return std::ranges::any_of(names, [&value](const char* name) { return value == name; });
    };
    const std::string key = rulesText(*connection, "key");
    if (key != "state" && _rules.mayBeUntracked) {
        return PortMatch::unknown(); // an untracked packet has nothing else: no rule holds for it
    }
    if (key == "direction") {
        return ofName("original", value);
    }
    // Rules that translate the destination are judged apart: here it has not been translated.
    if (key == "status" && isOneOf({"dnat", "seen-reply", "assured", "expected"})) {
        return PortMatch::never();
    }
    if (key == "state" && isOneOf({"established", "related", "invalid"})) {
        return PortMatch::never();
    }
    if (key == "state" && isOneOf({"new", "untracked"})) {
        return _rules.mayBeUntracked ? PortMatch::unknown() : certainly(value == "new");
    }
    return PortMatch::unknown();
}

} // namespace vel
