// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELFirewallRules.h"

#include <string_view>

namespace vel {

/// Whether "nft -a list ruleset" printed a rule that is not in the document.
bool lacksRules(const RulesJSON& document, std::string_view listing);

/// Puts in their place what "nft -a list ruleset" printed for the same rules: connection state,
/// several ports, the kind of an address or a packet. A match that the listing shows, but that is
/// none of these, becomes one that is unknown. What the listing does not show stays hidden.
void revealHiddenMatches(RulesJSON& document, std::string_view listing);

} // namespace vel
