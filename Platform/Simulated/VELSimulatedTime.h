// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELClock.h"
#include "Platform/VELWorkQueue.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>

/// Virtual time, and the work queue whose blocks become due in it. Each thread has a time of its
/// own: it starts at the clock's epoch, only what that thread does moves it on, and the blocks it
/// schedules run on itself, in the order of their due moments, as its time passes them. A block
/// whose moment never comes is kept as long as this object.
class VELSimulatedTime final : public VELWorkQueue {
public:
    /// A thread, by a number that no other thread of the process ever gets.
    using Thread = std::uint64_t;

    /// The system cannot create a thread: `after` returns false.
    bool refusesWorker = false;

    mutable std::atomic<unsigned> afterCalls = 0;

    static Thread currentThread();

    [[nodiscard]] VELTimePoint now(Thread thread = currentThread()) const;

    /// Moves the calling thread's time on, and runs what becomes due on the way, each block at its
    /// own moment. A moment that has passed runs what is due now.
    void advanceTo(VELTimePoint moment) const;

    /// When the calling thread's next block is due; absent when it has none.
    [[nodiscard]] std::optional<VELTimePoint> nextDue() const;

    /// Blocks of the calling thread that were not due yet.
    [[nodiscard]] std::size_t pendingBlocks() const;

    /// As many blocks wait on each thread. One more, and the first is dropped: it is the time-out
    /// of a tool that ended long ago.
    static constexpr std::size_t mostPendingBlocks = 16;

    /// A block that is due at once runs when time is next looked to, even if by no step.
    bool after(std::chrono::nanoseconds delay, std::function<void()> block) const override;

private:
    struct State {
        VELTimePoint now;
        std::multimap<VELTimePoint, std::function<void()>> blocks;
    };

    std::function<void()> takeDueBlock(VELTimePoint moment) const;

    mutable std::mutex _mutex;
    mutable std::map<Thread, State> _threads;
};
