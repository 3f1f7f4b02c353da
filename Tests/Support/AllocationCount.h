// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

/// Whether this build counts allocations: with a sanitizer, whose allocator stays in place, it does
/// not.
bool allocationsAreCounted();

/// How often the calling thread has called the allocating `operator new` so far.
std::size_t allocationCount();

/// While it lives, the calling thread gets memory of at least `size` bytes `successes` times and
/// then no more; smaller pieces it gets as ever.
class AllocationFailure {
public:
    explicit AllocationFailure(std::size_t successes, std::size_t size = 0);
    AllocationFailure(const AllocationFailure&) = delete;
    AllocationFailure& operator=(const AllocationFailure&) = delete;
    ~AllocationFailure();
};
