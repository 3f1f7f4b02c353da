// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// How deep the containers of a document may nest.
inline constexpr std::size_t maximumJSONDepth = 512;

/// Reads one JSON text in UTF-8, strictly (a byte order mark may stand before it). Nothing on
/// failure, with an error of "NSCocoaErrorDomain" 3840 whose text says where.
///
/// Integers of 64 bits are exact, other numbers doubles; one that no finite double holds is an
/// error. Of equal keys the last one counts. Containers nested deeper than `maximumJSONDepth` are
/// an error. Memory and stack stay bounded by the length of the text, whatever it holds.
std::optional<VELValue> readJSON(std::string_view text, std::optional<VELError>* error);

/// Writes a value as compact JSON in UTF-8; doubles round-trip. Nothing on failure (a string that
/// is not UTF-8, a number that is not finite), with an error of "NSCocoaErrorDomain" 3851.
std::optional<std::string> writeJSON(const VELValue& value, std::optional<VELError>* error);

/// The value under `key`; null when `value` has none, or is no dictionary.
const VELValue* valueUnder(std::string_view key, const VELValue& value);

/// A value as compact JSON for people to read: never fails, what JSON cannot hold is replaced.
std::string compactText(const VELValue& value);

/// What a message shows for "%@": a string bare, any other value as compact JSON.
std::string displayText(const VELValue& value);

} // namespace vel
