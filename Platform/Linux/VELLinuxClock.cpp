// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELMonotonicClock.h"

VELTimePoint vel::monotonicNow() {
    return VELTimePoint(std::chrono::steady_clock::now().time_since_epoch());
}
