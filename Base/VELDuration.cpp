// SPDX-License-Identifier: Apache-2.0
#include "Base/VELDuration.h"

#include <cmath>
#include <limits>

std::chrono::nanoseconds vel::nanoseconds(double seconds) {
    const double count = seconds * 1'000'000'000.0;
    if (std::isnan(count)) {
        return std::chrono::nanoseconds::zero();
    }
    // Both bounds are powers of two, hence exact as doubles.
    if (count >= 0x1p63) {
        return std::chrono::nanoseconds::max();
    }
    if (count < -0x1p63) {
        return std::chrono::nanoseconds(std::numeric_limits<std::int64_t>::min());
    }
    return std::chrono::nanoseconds(static_cast<std::int64_t>(count));
}

std::uint64_t vel::momentAfter(std::uint64_t moment, std::chrono::nanoseconds delay) {
    if (delay <= std::chrono::nanoseconds::zero()) {
        return moment;
    }
    const auto distance = static_cast<std::uint64_t>(delay.count());
    const std::uint64_t room = std::numeric_limits<std::uint64_t>::max() - moment;
    return moment + (distance < room ? distance : room);
}
