// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/AllocationCount.h"

#include "Tests/Support/Sanitized.h"

#include <cstdlib>
#include <new>
#include <optional>

namespace {

thread_local std::size_t count = 0;

struct Limit {
    std::size_t size;
    std::size_t successes;
};
thread_local std::optional<Limit> limit;

[[maybe_unused]] bool isRefused(std::size_t size) {
    if (!limit || size < limit->size) {
        return false;
    }
    if (limit->successes == 0) {
        return true;
    }
    --limit->successes;
    return false;
}

} // namespace

bool allocationsAreCounted() {
    return VEL_SANITIZED == 0;
}

std::size_t allocationCount() {
    return count;
}

AllocationFailure::AllocationFailure(std::size_t successes, std::size_t size) {
    limit = {size, successes};
}

AllocationFailure::~AllocationFailure() {
    limit.reset();
}

#if !VEL_SANITIZED

void* operator new(std::size_t size) {
    ++count;
    if (void* memory = isRefused(size) ? nullptr : std::malloc(size == 0 ? 1 : size)) {
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
