// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELFirewallRuleset.h"

#include <ostream>

namespace vel {

/// How a failed expectation shows an answer.
inline void PrintTo(const InboundDefault& inbound, std::ostream* stream) {
    *stream << (inbound == InboundDefault::refused ? "refused"
                : inbound == InboundDefault::letIn ? "let in"
                                                   : "hidden");
}

} // namespace vel
