// SPDX-License-Identifier: Apache-2.0
#include "Base/VELDuration.h"

#include <cmath>
#include <cstdint>
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

double vel::seconds(std::chrono::nanoseconds duration) {
    return static_cast<double>(duration.count()) / 1'000'000'000.0;
}
