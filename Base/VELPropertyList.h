// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <optional>
#include <string_view>

namespace vel {

/// Limits for property lists. One that exceeds a limit does not parse.
inline constexpr std::size_t maximumPropertyListBytes = std::size_t{1} << 20U;
/// The maximum nesting depth of dictionaries and arrays.
inline constexpr std::size_t maximumPropertyListDepth = 512;
/// The maximum number of values: containers and the root count, keys do not. A binary
/// property list can refer to one object many times; each time counts.
inline constexpr std::size_t maximumPropertyListNodes = 100'000;
/// The maximum total size of keys, strings, dates and data in bytes, as they are in the result and
/// again as often as a binary property list refers to them.
inline constexpr std::size_t maximumPropertyListTextBytes = std::size_t{16} << 20U;

/// Reads a property list, XML or binary ("bplist00"), from its bytes. Returns nullopt on failure,
/// with an error of "NSCocoaErrorDomain" 3840 whose text says what is wrong and where: the line of
/// an XML property list, the byte of a binary one. The root may be of any kind.
///
/// Integers of 64 bits, signed and unsigned, are exact; one that 64 bits do not hold is an error,
/// and so is a real that is not finite. A date becomes its ISO 8601 text ("2026-11-21T08:30:00Z"),
/// without fractions of a second; its year is 0 to 9999. Data become their base64 text, a UID a
/// dictionary with the one key "CF$UID" (its number where it is the root), the binary form's null
/// object a JSON null. Of duplicate keys the last one counts. Strings are valid UTF-8; those of the
/// binary form can contain NUL.
///
/// XML can be in UTF-8, UTF-16, ISO 8859-1 or US-ASCII. A document type can be named, but not
/// declared in the document itself, so there are only the predefined entities. Nothing else is ever
/// loaded. White space around an integer, a real or a date, and anywhere in data, is ignored.
std::optional<VELValue> readPropertyList(std::string_view bytes, std::optional<VELError>* error);

} // namespace vel
