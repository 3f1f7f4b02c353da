// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/ScriptedCheck.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A simulated Mac, a logger that records, and runners over both. No logger is left behind.
class EngineTest : public testing::Test {
protected:
    EngineTest();
    ~EngineTest() override;

    [[nodiscard]] std::unique_ptr<VELPostureCheckRunner>
    runnerWith(VELPostureCheckCatalogue catalogue) const;
    [[nodiscard]] std::unique_ptr<VELPostureCheckRunner> macRunner() const;

    static VELValue json(std::string_view text);

    const std::shared_ptr<VELSimulatedPlatform> platform;
    const std::shared_ptr<RecordingLogger> logger;
};

/// What one request yields, parsed.
VELValue resultOf(const VELPostureCheckRunner& runner, std::string_view request);
