// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELWorkQueue.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

/// Virtual time, and the work queue whose blocks become due in it. Each thread has a time of its
/// own: it starts at 0, only what that thread does moves it on, and the blocks it schedules run on
/// itself, in the order of their due moments, as its time passes them. A block whose moment never
/// comes is kept as long as this object.
class VELSimulatedTime final : public VELWorkQueue {
public:
    /// A thread, by a number that no other thread of the process ever gets.
    using Thread = std::uint64_t;

    /// The machine refuses a thread: `after` answers false.
    bool refusesWorker = false;

    mutable std::atomic<unsigned> afterCalls = 0;

    static Thread currentThread();

    /// Nanoseconds.
    [[nodiscard]] std::uint64_t now(Thread thread = currentThread()) const;

    /// Moves the calling thread's time on, and runs what becomes due on the way, each block at its
    /// own moment. A moment that has passed runs what is due now.
    void advanceTo(std::uint64_t moment) const;

    /// When the calling thread's next block is due; absent when it has none.
    [[nodiscard]] std::optional<std::uint64_t> nextDue() const;

    /// Blocks of the calling thread that were not due yet.
    [[nodiscard]] std::size_t pendingBlocks() const;

    /// A block that is due at once runs when time is next looked to, even if by no step.
    bool after(std::chrono::nanoseconds delay, std::function<void()> block) const override;

private:
    struct State {
        std::uint64_t now = 0;
        std::multimap<std::uint64_t, std::function<void()>> blocks;
    };

    std::function<void()> takeDueBlock(std::uint64_t moment) const;

    mutable std::mutex _mutex;
    mutable std::map<Thread, State> _threads;
};
