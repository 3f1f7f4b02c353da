// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELWorkQueue.h"

/// The work queue of this process: one worker thread, made on first use, with every signal blocked.
/// It is never waited for, so that a host exits at once, and nothing of it is ever destroyed. A
/// process forked from this one starts with an empty queue and makes a worker of its own. Time is
/// monotonic.
class VELPOSIXWorkQueue final : public VELWorkQueue {
public:
    bool after(std::chrono::nanoseconds delay, std::function<void()> block) const override;
};
