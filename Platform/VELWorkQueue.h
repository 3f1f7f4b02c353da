// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <functional>

/// Runs blocks on a worker thread, later.
class VELWorkQueue {
public:
    virtual ~VELWorkQueue() = default;

    /// Runs `block` once, on a worker thread, when `delay` has passed (at once when it is not
    /// positive). Keeps what the block holds until then; it cannot be cancelled. Never keeps the
    /// process from exiting: a block that is not due by then is not run. `block` must not throw.
    /// False: the system cannot create a worker thread; the block is not run.
    virtual bool after(std::chrono::nanoseconds delay, std::function<void()> block) const = 0;
};
