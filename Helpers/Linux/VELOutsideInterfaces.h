// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vel {

/// The interfaces of this process's network namespace by which connections from outside come in, by
/// name and in order: those with a device behind them, and those with a default route (of any
/// routing table, halves of the address space counted as one). Where there is none, all but the
/// loopback one: empty when that is alone. Nullopt when the kernel does not say.
std::optional<std::vector<std::string>> outsideInterfaces();

} // namespace vel
