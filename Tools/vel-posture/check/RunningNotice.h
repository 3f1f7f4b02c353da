// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELPostureCheckRunner.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

/// Says on a terminal which check is running, once it has been for longer than a delay, and erases
/// that when the check ends. A thread of its own watches the time, from the first check on.
class RunningNotice {
public:
    using Write = std::function<void(std::string_view)>;

    /// `columns`: the width of the terminal. `write` writes to it, from either thread, never from
    /// two at once.
    RunningNotice(std::chrono::milliseconds delay, std::size_t columns, Write write);
    RunningNotice(const RunningNotice&) = delete;
    RunningNotice& operator=(const RunningNotice&) = delete;
    ~RunningNotice();

    /// A check starts. If no thread can be had, there will be no notice.
    void begin(std::string_view checkType);

    /// The check that started last has ended.
    void end();

private:
    using Clock = std::chrono::steady_clock;

    void watch();
    void show();
    void erase();
    [[nodiscard]] bool isDue() const;

    const std::chrono::milliseconds _delay;
    const std::size_t _columns;
    const Write _write;

    std::mutex _mutex;
    std::condition_variable _changed;
    std::string _checkType; // empty: no check runs
    Clock::time_point _dueTime;
    std::size_t _shownColumns = 0; // 0: nothing is shown
    bool _ending = false;
    std::thread _watcher;
};

/// A catalogue of the same checks, each of which tells `notice` when it starts and ends.
VELPostureCheckCatalogue catalogueWithNotice(const VELPostureCheckCatalogue& catalogue,
                                             const std::shared_ptr<RunningNotice>& notice);
