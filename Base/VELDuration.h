// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

/// Pure functions over durations and moments. None overflows.
namespace vel {

/// `seconds` as whole nanoseconds, truncated toward zero. What 64 signed bits do not hold becomes
/// the nearest value that they do; not a number becomes 0.
std::chrono::nanoseconds nanoseconds(double seconds);

/// `duration` in seconds, rounded to the nearest double.
double seconds(std::chrono::nanoseconds duration);

/// The moment `delay` after `moment`: `moment` itself when `delay` is not positive, the latest
/// moment there is when the sum lies beyond it.
template <typename Clock>
constexpr std::chrono::time_point<Clock, std::chrono::nanoseconds>
momentAfter(std::chrono::time_point<Clock, std::chrono::nanoseconds> moment,
            std::chrono::nanoseconds delay) {
    constexpr auto latest = decltype(moment)::max();
    if (delay <= std::chrono::nanoseconds::zero()) {
        return moment;
    }
    return moment < latest - delay ? moment + delay : latest;
}

} // namespace vel
