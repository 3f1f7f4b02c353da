// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELFiles.h"

#include <atomic>
#include <map>
#include <optional>
#include <string>

/// Files in plain data, and how often they were asked.
class VELSimulatedFiles final : public VELFiles {
public:
    /// By path; without bytes it is there but cannot be read.
    std::map<std::string, std::optional<std::string>> contents;

    mutable std::atomic<unsigned> existsCalls = 0;
    mutable std::atomic<unsigned> readCalls = 0;

    [[nodiscard]] bool exists(const std::string& path) const override;
    [[nodiscard]] std::optional<std::string> read(const std::string& path) const override;
};
