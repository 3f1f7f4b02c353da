// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

/// Makes machine descriptions and requests by chance, the same ones for the same seed. Most fit
/// together: requests name what machines have.
class GeneratedMachines {
public:
    explicit GeneratedMachines(unsigned seed) : _random(seed) {}

    VELValue machine();
    VELValue request();

    /// True in `count` of `of` cases.
    bool chance(unsigned count, unsigned of) { return number(of) < count; }

private:
    /// From 0 to below `bound`.
    unsigned number(unsigned bound) { return static_cast<unsigned>(_random() % bound); }

    const VELValue& oneOf(const VELValue& list) { return list[number(unsigned(list.size()))]; }

    VELValue preferences();
    VELValue run(const std::vector<std::string>& command, const VELValue& outputs);
    VELValue tools();
    VELValue file();
    VELValue mount();
    VELValue keychain();
    VELValue entry();

    std::mt19937 _random;
};
