// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta);
dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work);

} // extern "C"

// NOLINTEND
