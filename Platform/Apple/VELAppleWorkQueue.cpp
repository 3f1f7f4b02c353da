// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleWorkQueue.h"

#include <dispatch/dispatch.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

namespace {

using Block = std::function<void()>;

extern "C" void runBlock(void* context) noexcept {
    const std::unique_ptr<Block> block(static_cast<Block*>(context));
    (*block)();
}

} // namespace

bool VELAppleWorkQueue::after(std::chrono::nanoseconds delay, Block block) const {
    const std::chrono::nanoseconds wait = std::max(delay, std::chrono::nanoseconds::zero());
    try {
        auto context = std::make_unique<Block>(std::move(block));
        ::dispatch_after_f(::dispatch_time(DISPATCH_TIME_NOW, wait.count()),
                           ::dispatch_get_global_queue(DISPATCH_QUEUE_PRIORITY_DEFAULT, 0),
                           context.release(), runBlock);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}
