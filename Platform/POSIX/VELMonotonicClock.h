// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELClock.h"

namespace vel {

/// The time of the platform's monotonic clock: that of `VELPlatform::ticks` and of every deadline.
/// Each platform's folder defines it.
VELTimePoint monotonicNow();

} // namespace vel
