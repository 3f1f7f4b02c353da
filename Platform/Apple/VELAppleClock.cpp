// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELMonotonicClock.h"

#include <cstdint>
#include <mach/mach_time.h>

namespace {

mach_timebase_info_data_t readRatio() {
    mach_timebase_info_data_t ratio = {};
    ::mach_timebase_info(&ratio);
    return ratio;
}

} // namespace

// Stands still while the Mac sleeps, as the delays of its work queue do.
VELTimePoint vel::monotonicNow() {
    // Nanoseconds for each unit of the counter: 125/3 or 1/1.
    static const mach_timebase_info_data_t ratio = readRatio();
    const std::uint64_t count = ::mach_absolute_time();
    // The quotient and the remainder apart, so that no product overflows.
    const std::uint64_t nanoseconds =
        count / ratio.denom * ratio.numer + count % ratio.denom * ratio.numer / ratio.denom;
    return VELTimePoint(VELClock::duration(static_cast<VELClock::rep>(nanoseconds)));
}
