// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

/// What a set of packet filter rules says about connections from outside.
namespace vel {

/// Whether a packet to this machine that no rule picks out is dropped or rejected.
struct InboundDenial {
    bool ipv4 = false;
    bool ipv6 = false;

    friend bool operator==(const InboundDenial&, const InboundDenial&) = default;
};

/// Judges what "nft -j list ruleset" printed. Nothing when that is no such document.
///
/// Inbound traffic is denied when one base chain of type filter at the hook input drops or rejects
/// it on every way: by its policy, or by a rule without a condition that is reached through jumps
/// without a condition. Where it is in doubt it is not denied:
/// - a rule with a condition, or with a statement that is not known here, is taken as not matching;
///   one whose only conditions are negated, which most packets meet, as matching and as not;
/// - what is handed to another program (queue) is taken as let in;
/// - a table that is, or may be, dormant counts for nothing.
std::optional<InboundDenial> inboundDenial(std::string_view ruleset);

} // namespace vel
