// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedTime.h"

#include "Base/VELDuration.h"

#include <algorithm>
#include <utility>

VELSimulatedTime::Thread VELSimulatedTime::currentThread() {
    // Not the system's thread identifier: that of an ended thread is given to a later one.
    static std::atomic<Thread> last = 0;
    thread_local const Thread thread = ++last;
    return thread;
}

VELTimePoint VELSimulatedTime::now(Thread thread) const {
    const std::scoped_lock lock(_mutex);
    return _threads[thread].now;
}

std::function<void()> VELSimulatedTime::takeDueBlock(VELTimePoint moment) const {
    const std::scoped_lock lock(_mutex);
    State& state = _threads[currentThread()];
    const auto first = state.blocks.begin();
    if (first == state.blocks.end() || first->first > std::max(moment, state.now)) {
        state.now = std::max(moment, state.now);
        return nullptr;
    }
    state.now = std::max(first->first, state.now);
    std::function<void()> block = std::move(first->second);
    state.blocks.erase(first);
    return block;
}

void VELSimulatedTime::advanceTo(VELTimePoint moment) const {
    while (const std::function<void()> block = takeDueBlock(moment)) {
        block();
    }
}

std::optional<VELTimePoint> VELSimulatedTime::nextDue() const {
    const std::scoped_lock lock(_mutex);
    const State& state = _threads[currentThread()];
    return state.blocks.empty() ? std::nullopt : std::optional(state.blocks.begin()->first);
}

std::size_t VELSimulatedTime::pendingBlocks() const {
    const std::scoped_lock lock(_mutex);
    return _threads[currentThread()].blocks.size();
}

bool VELSimulatedTime::after(std::chrono::nanoseconds delay, std::function<void()> block) const {
    ++afterCalls;
    if (refusesWorker) {
        return false;
    }
    decltype(State::blocks)::node_type dropped; // destroyed when nothing is locked
    const std::scoped_lock lock(_mutex);
    State& state = _threads[currentThread()];
    state.blocks.emplace(vel::momentAfter(state.now, delay), std::move(block));
    if (state.blocks.size() > mostPendingBlocks) {
        dropped = state.blocks.extract(state.blocks.begin());
    }
    return true;
}
