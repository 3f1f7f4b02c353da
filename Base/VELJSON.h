// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// The maximum nesting depth of a document.
inline constexpr std::size_t maximumJSONDepth = 512;

/// Reads one JSON text in UTF-8, strictly (a byte order mark may precede it). Returns nullopt on
/// failure, with an error of "NSCocoaErrorDomain" 3840 whose text says where.
///
/// Integers of 64 bits are exact, other numbers are doubles; a number beyond the range of a double
/// is an error. Of duplicate keys the last one counts. Nesting deeper than `maximumJSONDepth` is an
/// error. Memory and stack are bounded by the length of the text.
std::optional<VELValue> readJSON(std::string_view text, std::optional<VELError>* error);

/// Writes a value as compact JSON in UTF-8; doubles round-trip. Returns nullopt on failure (a
/// string that is not UTF-8, a number that is not finite), with an error of "NSCocoaErrorDomain"
/// 3851.
std::optional<std::string> writeJSON(const VELValue& value, std::optional<VELError>* error);

/// The value under `key`; null if `value` has none or is not a dictionary.
const VELValue* valueUnder(std::string_view key, const VELValue& value);

/// A value as compact JSON for people to read. Never fails: what JSON cannot represent is replaced.
std::string compactText(const VELValue& value);

/// The text of a value for "%@": a string without quotes, any other value as compact JSON.
std::string displayText(const VELValue& value);

} // namespace vel
