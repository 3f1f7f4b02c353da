// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstdint>

/// Pure functions over durations. None overflows.
namespace vel {

/// `seconds` as whole nanoseconds, truncated toward zero. What 64 signed bits do not hold becomes
/// the nearest value that they do; not a number becomes 0.
std::chrono::nanoseconds nanoseconds(double seconds);

/// The moment `delay` after `moment` (nanoseconds of one clock): `moment` itself when `delay` is
/// not positive, the latest moment there is when the sum lies beyond it.
std::uint64_t momentAfter(std::uint64_t moment, std::chrono::nanoseconds delay);

} // namespace vel
