// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// NOLINTBEGIN

struct mach_timebase_info {
    std::uint32_t numer;
    std::uint32_t denom;
};
using mach_timebase_info_t = mach_timebase_info*;
using mach_timebase_info_data_t = struct mach_timebase_info;

// NOLINTEND
