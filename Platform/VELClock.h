// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

/// Marks the moments of a platform's monotonic clock. Each platform has a clock of its own, so this
/// type cannot be asked for the time: `VELPlatform::ticks` can.
struct VELClock {
    using duration = std::chrono::nanoseconds;            ///< as every clock has it
    using rep = duration::rep;                            ///< as every clock has it
    using period = duration::period;                      ///< as every clock has it
    using time_point = std::chrono::time_point<VELClock>; ///< as every clock has it
    static constexpr bool is_steady = true;               ///< never goes back
};

/// A moment of a platform's monotonic clock.
using VELTimePoint = VELClock::time_point;
