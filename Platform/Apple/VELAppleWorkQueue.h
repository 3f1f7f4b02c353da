// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELWorkQueue.h"

/// The system's global queue of default priority. Delays are waking time: they stand still while
/// the Mac sleeps. A delay of centuries never ends.
class VELAppleWorkQueue final : public VELWorkQueue {
public:
    bool after(std::chrono::nanoseconds delay, std::function<void()> block) const override;
};
