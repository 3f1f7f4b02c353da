// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Whether this build counts allocations: with a sanitizer, whose allocator stays in place, it does
/// not.
bool allocationsAreCounted();

/// How often the calling thread has called the allocating `operator new` so far.
std::size_t allocationCount();

/// While it lives, the calling thread gets memory `successes` times and then no more.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t successes);
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
    ~AllocationFailure();
};
