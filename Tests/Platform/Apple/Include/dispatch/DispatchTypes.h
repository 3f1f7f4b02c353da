// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// NOLINTBEGIN

struct dispatch_queue_s {};
using dispatch_queue_t = dispatch_queue_s*;
struct dispatch_queue_global_s : public dispatch_queue_s {};
using dispatch_queue_global_t = dispatch_queue_global_s*;
using dispatch_function_t = void (*)(void*);
using dispatch_time_t = std::uint64_t;

#define DISPATCH_QUEUE_PRIORITY_DEFAULT 0

enum : dispatch_time_t { DISPATCH_TIME_NOW = 0ULL, DISPATCH_TIME_FOREVER = ~0ULL };

// NOLINTEND
