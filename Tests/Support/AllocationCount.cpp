// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/AllocationCount.h"

#include <cstdlib>
#include <new>
#include <optional>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEL_COUNTS_ALLOCATIONS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEL_COUNTS_ALLOCATIONS 0
#endif
#endif
#ifndef VEL_COUNTS_ALLOCATIONS
#define VEL_COUNTS_ALLOCATIONS 1
#endif

namespace {

thread_local std::size_t count = 0;
thread_local std::optional<std::size_t> lastCount;

} // namespace

bool allocationsAreCounted() {
    return VEL_COUNTS_ALLOCATIONS != 0;
}

std::size_t allocationCount() {
    return count;
}

AllocationFailure::AllocationFailure(std::size_t successes) {
    lastCount = count + successes;
}

AllocationFailure::~AllocationFailure() {
    lastCount.reset();
}

#if VEL_COUNTS_ALLOCATIONS

void* operator new(std::size_t size) {
    ++count;
    if (lastCount && count > *lastCount) {
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

#endif
