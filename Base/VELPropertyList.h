// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vel {

/// What a property list may cost to read. Over a limit, it does not parse.
inline constexpr std::size_t maximumPropertyListBytes = std::size_t{1} << 20U;
inline constexpr std::size_t maximumPropertyListDepth = 512;
inline constexpr std::size_t maximumPropertyListNodes = 100'000;

/// Reads a property list, XML or binary, from its bytes. Nothing on failure, with an error of
/// "NSCocoaErrorDomain" 3840 whose text says what is wrong and where.
///
/// Integers of 64 bits, signed and unsigned, are exact. A date becomes its ISO 8601 text
/// ("2026-11-21T08:30:00Z"), data their base64 text, a UID a dictionary with the one key
/// "CF$UID". Of equal keys the last one counts. Strings are valid UTF-8.
std::optional<VELValue> readPropertyList(std::string_view bytes, std::optional<VELError>* error);

} // namespace vel
