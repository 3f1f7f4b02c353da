// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

namespace vel {

/// The serial number that the registry of devices has for this Mac. Absent: it has none, or one
/// that is no text.
std::optional<std::string> appleSerialNumber();

} // namespace vel
