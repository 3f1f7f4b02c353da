// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

kern_return_t mach_timebase_info(mach_timebase_info_t info);
uint64_t mach_absolute_time(void);

} // extern "C"

// NOLINTEND
