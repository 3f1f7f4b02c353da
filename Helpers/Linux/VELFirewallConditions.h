// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELFirewallRules.h"
#include "Helpers/Linux/VELPortSet.h"

#include <string>

namespace vel {

/// The first packet of a connection to this machine that nobody here asked for: from a public
/// address to one of this machine's own, by every port. Its other properties are not known.
struct UnsolicitedPacket {
    enum class Network { ipv4, ipv6 };
    enum class Transport { tcp, udp };

    Network network = Network::ipv4;
    Transport transport = Transport::tcp;
    /// The interface that it comes in on.
    std::string interface;
};

/// By destination port: where a condition may hold for the packet, and where it holds for certain.
struct PortMatch {
    PortSet may;
    PortSet must;

    static PortMatch never() { return {}; }
    static PortMatch unknown() { return {PortSet::all(), {}}; }
    static PortMatch always() { return {PortSet::all(), PortSet::all()}; }

    PortMatch operator~() const { return {~must, ~may}; }
    PortMatch operator&(const PortMatch& other) const {
        return {may & other.may, must & other.must};
    }
    friend bool operator==(const PortMatch&, const PortMatch&) = default;
};

/// Whether values of a packet match what a rule of one table compares them with.
class FirewallConditions {
public:
    /// All three are kept by reference.
    FirewallConditions(const FirewallRules& rules, const UnsolicitedPacket& packet,
                       const RulesPlace& chain)
        : _rules(rules), _packet(packet), _chain(chain) {}

    /// The content of a statement "match". One that is not understood is unknown.
    [[nodiscard]] PortMatch ofStatement(const RulesJSON& match) const;

    /// An expression against one element of a set or a verdict map.
    [[nodiscard]] PortMatch ofElement(const RulesJSON& expression, const RulesJSON& element) const;

    /// A set or map by the name that a rule gives it ("@name"). Null when there is none.
    [[nodiscard]] const FirewallSet* setNamed(const RulesJSON& name) const;

private:
    [[nodiscard]] bool canHold(const RulesJSON& expression) const;
    [[nodiscard]] PortMatch ofValue(const RulesJSON& expression, const RulesJSON& value) const;
    [[nodiscard]] PortMatch ofSet(const RulesJSON& expression, const RulesJSON* elements) const;
    [[nodiscard]] PortMatch ofPayload(const RulesJSON& payload, const RulesJSON& value) const;
    [[nodiscard]] PortMatch ofMeta(const std::string& key, const RulesJSON& value) const;
    [[nodiscard]] PortMatch ofConnection(const RulesJSON& expression, const RulesJSON& value) const;
    [[nodiscard]] PortMatch ofTransport(const RulesJSON& value) const;

    const FirewallRules& _rules;
    const UnsolicitedPacket& _packet;
    const RulesPlace& _chain;
};

} // namespace vel
