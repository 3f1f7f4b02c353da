// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// A point in calendar time (UTC), to compare with the validity of certificates.
using VELMoment = std::chrono::sys_time<std::chrono::microseconds>;

namespace vel {

/// The moment that an RFC 3339 time names, such as "2024-06-01T12:00:00Z" or
/// "2024-06-01T14:00:00.5+02:00". Digits beyond microseconds are ignored; a leap second counts as
/// the first second of the next minute. Returns nullopt for any other text.
std::optional<VELMoment> momentOfText(std::string_view text);

/// The ISO 8601 text of a property list's date, such as "2026-11-21T08:30:00Z", from its seconds
/// since the start of 2001 (UTC); fractions of a second do not count. Returns nullopt if the year
/// is not 0 to 9999 or the value is not a number.
std::optional<std::string> dateText(double secondsSince2001);

} // namespace vel
