// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"

/// The real state of a Linux machine.
class VELLinuxPlatform final : public VELPlatform {
public:
    [[nodiscard]] std::uint64_t ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
};
