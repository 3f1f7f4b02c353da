// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/RecordingLogger.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Tests of checks that read tools: a described Mac, and what was logged.
class ToolCheckTest : public testing::Test {
protected:
    using Command = std::vector<std::string>;
    using Commands = std::vector<Command>;
    using Lines = std::vector<LogLine>;

    ToolCheckTest();
    void SetUp() override;
    void TearDown() override;

    /// What a run of the command prints, with status 0.
    void answer(Command command, std::string output);
    /// The status of a run of the command, which prints nothing.
    void fail(Command command, std::int32_t status);
    [[nodiscard]] Commands launched() const;

    /// How an error of the library's domain is logged.
    static LogLine errorLine(std::int64_t code, const std::string& message);

    /// Holds a posture-check error against its code and text.
    static void expectError(const std::optional<VELError>& error, std::int64_t code,
                            const std::string& message);
    /// Holds the exception that the work throws against its text.
    static void expectRaised(const std::function<void()>& work, const std::string& text);

    /// The result of a request with these entries on the described Mac, without its timings.
    VELDictionary resultOf(const VELArray& entries);

    std::shared_ptr<VELSimulatedPlatform> mac;
    std::shared_ptr<RecordingLogger> logger;
    std::optional<VELError> error;
};
