// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELPOSIXWorkQueue.h"

#include "Base/VELDuration.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <exception>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <utility>
#include <vector>

namespace {

using Moment = std::chrono::steady_clock::time_point;

struct PendingBlock {
    Moment due;
    std::uint64_t sequence;
    std::function<void()> block;
};

bool isLater(const PendingBlock& left, const PendingBlock& right) {
    return std::pair(left.due, left.sequence) > std::pair(right.due, right.sequence);
}

class Queue {
public:
    explicit Queue(const Queue* abandoned) : _abandoned(abandoned) {}

    bool add(Moment due, std::function<void()> block);

private:
    static void* work(void* queue);
    bool startWorker();
    [[noreturn]] void runBlocks();
    std::function<void()> waitForBlock();

    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<PendingBlock> _blocks; // a heap, the earliest first
    std::uint64_t _lastSequence = 0;
    bool _hasWorker = false;
    [[maybe_unused]] const Queue* const _abandoned; // kept reachable, for leak checkers
};

bool Queue::add(Moment due, std::function<void()> block) {
    const std::scoped_lock lock(_mutex);
    if (!_hasWorker && !startWorker()) {
        return false;
    }
    _blocks.push_back({due, ++_lastSequence, std::move(block)});
    std::push_heap(_blocks.begin(), _blocks.end(), isLater);
    if (_blocks.front().sequence == _lastSequence) {
        _changed.notify_one();
    }
    return true;
}

bool Queue::startWorker() {
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0) {
        return false;
    }
    ::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    // The worker inherits the mask: the host's signal handlers run on the host's threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all); // a macro on some systems
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread = {};
    _hasWorker = ::pthread_create(&thread, &attributes, work, this) == 0;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::pthread_attr_destroy(&attributes);
    return _hasWorker;
}

void* Queue::work(void* queue) {
    static_cast<Queue*>(queue)->runBlocks();
}

void Queue::runBlocks() {
    while (true) {
        // What the block holds is released here, before the next wait.
        waitForBlock()();
    }
}

std::function<void()> Queue::waitForBlock() {
    std::unique_lock lock(_mutex);
    while (true) {
        if (_blocks.empty()) {
            _blocks.shrink_to_fit(); // a burst of requests may have needed room for thousands
            _changed.wait(lock);
            continue;
        }
        const Moment due = _blocks.front().due;
        if (due <= std::chrono::steady_clock::now()) {
            break;
        }
        _changed.wait_until(lock, due);
    }
    std::pop_heap(_blocks.begin(), _blocks.end(), isLater);
    std::function<void()> block = std::move(_blocks.back().block);
    _blocks.pop_back();
    return block;
}

std::atomic<Queue*> currentQueue = nullptr;
std::atomic<const Queue*> abandonedQueue = nullptr;

// A forked process has no worker, and another thread may have held the lock when it was forked: the
// old queue is left as it is. Registered when the library is loaded, before any thread can fork.
const int forkHandlerFailure = ::pthread_atfork(nullptr, nullptr, [] {
    if (const Queue* queue = currentQueue.exchange(nullptr)) {
        abandonedQueue = queue;
    }
});

Queue& processQueue() {
    Queue* queue = currentQueue;
    if (queue == nullptr) {
        auto fresh = std::make_unique<Queue>(abandonedQueue);
        if (currentQueue.compare_exchange_strong(queue, fresh.get())) {
            queue = fresh.release();
        }
    }
    return *queue;
}

} // namespace

bool VELPOSIXWorkQueue::after(std::chrono::nanoseconds delay, std::function<void()> block) const {
    try {
        return processQueue().add(vel::momentAfter(std::chrono::steady_clock::now(), delay),
                                  std::move(block));
    } catch (const std::exception&) {
        return false; // no memory for it
    }
}
