// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELPOSIXWorkQueue.h"
#include "Platform/VELPlatform.h"

/// The real state of a Linux machine.
class VELLinuxPlatform final : public VELPlatform {
public:
    [[nodiscard]] std::uint64_t ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
    [[nodiscard]] std::string toolPath(std::string_view tool) const override;
    [[nodiscard]] std::shared_ptr<VELTask> task(std::string launchPath,
                                                std::vector<std::string> arguments) const override;
    [[nodiscard]] const VELWorkQueue& workQueue() const override;

private:
    VELPOSIXWorkQueue _workQueue;
};
