// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>

/// A member of what a simulated service hands out: counts the object for as long as it lives.
class VELSimulatedHandle {
public:
    explicit VELSimulatedHandle(std::atomic<int>& handedOut) : _handedOut(handedOut) {
        ++_handedOut;
    }
    VELSimulatedHandle(const VELSimulatedHandle&) = delete;
    VELSimulatedHandle& operator=(const VELSimulatedHandle&) = delete;
    ~VELSimulatedHandle() { --_handedOut; }

private:
    std::atomic<int>& _handedOut;
};
