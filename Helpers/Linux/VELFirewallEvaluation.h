// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELFirewallConditions.h"

#include <cstddef>
#include <map>
#include <string_view>
#include <vector>

namespace vel {

/// How a match counts of which not even the name of what it compares is known.
enum class HiddenMatches {
    asUnknown,  ///< as any unknown one: it may let a packet in, and never keeps one out for certain
    asRefusing, ///< whichever keeps more packets out
};

/// Follows the rules of one ruleset for one packet, all its ports at once. It errs towards letting
/// in: a port that is not in an answer is closed for certain, whatever the unknown conditions are.
class FirewallEvaluation {
public:
    /// The rules and the packet are kept by reference.
    FirewallEvaluation(const FirewallRules& rules, const UnsolicitedPacket& packet,
                       HiddenMatches hidden)
        : _rules(rules), _packet(packet), _hidden(hidden) {}

    /// The ports on which the packet may reach this machine: every base chain of type filter at the
    /// hook input lets it pass (an accept ends one chain, a drop ends them all, so that their order
    /// does not matter), or its destination may have been translated before.
    PortSet openPorts();

private:
    /// What may become of the packet in a chain that is not left for certain.
    struct Outcome {
        PortSet accepted; // or, in a chain of type nat, its destination translated
        PortSet returned; // to the calling chain, or to the policy
    };
    struct Progress;

    [[nodiscard]] std::vector<RulesPlace> baseChains(std::string_view type,
                                                     std::string_view hook) const;
    Outcome outcomeOf(const RulesPlace& place);
    void applyRule(const RulesJSON& statements, Progress& progress);
    bool applyStatement(const RulesJSON& statement, Progress& progress);
    bool applyVerdict(const std::string& kind, const RulesJSON& content, Progress& progress);
    void applyVerdictMap(const RulesJSON& content, Progress& progress);
    void applyJump(const RulesPlace& target, bool comesBack, Progress& progress);

    const FirewallRules& _rules;
    const UnsolicitedPacket& _packet;
    HiddenMatches _hidden;
    bool _isTranslation = false;
    std::map<RulesPlace, Outcome> _known;
    std::size_t _depth = 0;
};

} // namespace vel
