// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vel {

/// An id of this machine, made from its machine id for this library alone: 32 lower-case
/// hexadecimal digits that say nothing about the machine id, and that stay as long as it does.
/// Absent: the machine has no machine id, or the system no library that derives ids from it.
std::optional<std::string> applicationSpecificMachineID();

} // namespace vel
