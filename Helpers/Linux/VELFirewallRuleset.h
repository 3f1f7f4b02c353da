// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a set of packet filter rules says about connections from outside.
namespace vel {

enum class InboundDefault {
    refused, ///< connections that nobody here asked for are dropped or rejected
    letIn,   ///< on more than one port in a hundred one may get through
    hidden,  ///< it depends on conditions that nft does not show
};

/// What is asked about the rules.
struct InboundQuestion {
    /// Where connections from outside come in. None: by an interface that no rule names.
    std::vector<std::string> interfaces;
    bool isIPv6Judged = true;
};

/// Judges the rules that "nft -j list ruleset" printed as `ruleset` and "nft -a list ruleset" as
/// `listing`, which may be empty: matches of iptables-nft are then hidden. Nullopt when the first
/// is no ruleset, or lacks a rule of the second.
///
/// Refused means: a new connection from a public address to an address of this machine is dropped
/// or rejected on at least 99 % of the ports, for IPv4 and IPv6, for TCP and UDP, on every
/// interface to the outside. A condition whose value cannot be known counts as met where the packet
/// is then let in, and as not met where it is then refused.
std::optional<InboundDefault> inboundDefault(std::string_view ruleset, std::string_view listing,
                                             const InboundQuestion& question);

} // namespace vel
