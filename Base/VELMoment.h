// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

/// A moment of the calendar (UTC): what the validity of a certificate is compared with.
using VELMoment = std::chrono::sys_time<std::chrono::microseconds>;

namespace vel {

/// The moment that an RFC 3339 time names, such as "2024-06-01T12:00:00Z" or
/// "2024-06-01T14:00:00.5+02:00". Digits beyond microseconds do not count; a leap second is the
/// first one of the next minute. Nothing: it is no such time.
std::optional<VELMoment> momentOfText(std::string_view text);

} // namespace vel
