// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallRuleset.h"
#include "Helpers/Linux/VELFirewallEvaluation.h"
#include "Helpers/Linux/VELFirewallHiddenMatches.h"

#include <algorithm>
#include <cstddef>

namespace vel {
namespace {

using Network = UnsolicitedPacket::Network;
using Transport = UnsolicitedPacket::Transport;

std::vector<UnsolicitedPacket> packets(const InboundQuestion& question) {
    const std::vector<std::string> unnamed = {""}; // no rule can name this one
    std::vector<UnsolicitedPacket> packets;
    for (const auto& interface : question.interfaces.empty() ? unnamed : question.interfaces) {
        for (const Transport transport : {Transport::tcp, Transport::udp}) {
            packets.push_back({Network::ipv4, transport, interface});
            if (question.isIPv6Judged) {
                packets.push_back({Network::ipv6, transport, interface});
            }
        }
    }
    return packets;
}

} // namespace

std::optional<InboundDefault> inboundDefault(std::string_view ruleset, std::string_view listing,
                                             const InboundQuestion& question) {
    std::optional<RulesJSON> document = readRulesDocument(ruleset);
    if (!document || lacksRules(*document, listing)) {
        return std::nullopt;
    }
    revealHiddenMatches(*document, listing);
    const FirewallRules rules = sortRules(*document);
    const auto areRefused = [&](HiddenMatches hidden) {
        return std::ranges::all_of(packets(question), [&](const UnsolicitedPacket& packet) {
            return FirewallEvaluation(rules, packet, hidden).openPorts().size() <= maximumOpenPorts;
        });
    };
    if (areRefused(HiddenMatches::asUnknown)) {
        return InboundDefault::refused;
    }
    return areRefused(HiddenMatches::asRefusing) ? InboundDefault::hidden : InboundDefault::letIn;
}

} // namespace vel
