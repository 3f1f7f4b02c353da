// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPlatform.h"

#include <chrono>
#include <nlohmann/json.hpp>

std::uint64_t VELLinuxPlatform::ticks() const {
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() /
                                      std::chrono::nanoseconds(1));
}

std::optional<std::string> VELLinuxPlatform::productVersion() const {
    return std::nullopt;
}

std::optional<std::string> VELLinuxPlatform::serialNumber() const {
    return std::nullopt;
}

namespace {

class NoPreferences final : public VELPreferences {
public:
    std::optional<VELValue> copyValue(std::string_view, std::string_view,
                                      VELPreferencesScope) const override {
        return std::nullopt;
    }
    IntegerValue appIntegerValue(std::string_view, std::string_view) const override {
        return {0, false};
    }
};

} // namespace

const VELPreferences& VELLinuxPlatform::preferences() const {
    static const NoPreferences none;
    return none;
}
