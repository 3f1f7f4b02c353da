// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/ScriptedCheck.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A simulated Mac, a logger that records, and runners over both. No logger is left behind.
class EngineTest : public testing::Test {
protected:
    ~EngineTest() override { VELDTLogger::setLogger(nullptr); }

    [[nodiscard]] std::unique_ptr<VELPostureCheckRunner>
    runnerWith(VELPostureCheckCatalogue catalogue) const {
        return VELPlatformRunnerFactory::runner("mac", std::move(catalogue), logger, platform);
    }

    [[nodiscard]] std::unique_ptr<VELPostureCheckRunner> macRunner() const {
        return VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
    }

    static VELValue json(std::string_view text) { return VELValue::parse(text); }

    const std::shared_ptr<VELSimulatedPlatform> platform = std::make_shared<VELSimulatedPlatform>();
    const std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
};

/// What one request yields, parsed.
inline VELValue resultOf(const VELPostureCheckRunner& runner, std::string_view request) {
    return VELValue::parse(keepResult(runner.runPostureCheckFromDocumentString(request)));
}
