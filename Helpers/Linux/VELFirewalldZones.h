// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELSystemBus.h"

#include <optional>
#include <string>
#include <vector>

namespace vel {

/// Whether firewalld refuses by default what comes in by these interfaces: no zone and no policy
/// that takes in packets from there accepts all, and together none of them opens more than one port
/// in a hundred. Nullopt when it is not on the bus, may not be asked, or a setting is not
/// understood.
std::optional<bool> doesFirewalldRefuse(const SystemBus& bus,
                                        const std::vector<std::string>& interfaces);

} // namespace vel
