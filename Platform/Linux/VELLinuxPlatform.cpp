// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPlatform.h"

#include "Platform/Linux/VELLinuxSigningFolder.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <utility>

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

std::string VELLinuxPlatform::toolPath(std::string_view tool) const {
    return vel::linuxToolPath(tool);
}

std::shared_ptr<VELTask> VELLinuxPlatform::task(std::string launchPath,
                                                std::vector<std::string> arguments) const {
    if (const auto step = vel::signingStep(launchPath)) {
        return vel::signingTask(*step, std::move(launchPath), std::move(arguments),
                                vel::privateFolderPlaces());
    }
    return std::make_shared<VELPOSIXTask>(std::move(launchPath), std::move(arguments));
}

const VELWorkQueue& VELLinuxPlatform::workQueue() const {
    return _workQueue;
}
