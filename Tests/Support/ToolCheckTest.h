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

    void SetUp() override { VELDTLogger::setLogger(logger); }
    void TearDown() override { VELDTLogger::setLogger(nullptr); }

    void answer(Command command, std::string output) {
        VELSimulatedRun run;
        run.command = std::move(command);
        run.output = std::move(output);
        mac->tools.push_back(std::move(run));
    }

    void fail(Command command, std::int32_t status) {
        VELSimulatedRun run;
        run.command = std::move(command);
        run.status = status;
        mac->tools.push_back(std::move(run));
    }

    [[nodiscard]] Commands launched() const { return mac->taskRecord.launchedCommands(); }

    /// How an error of the library's domain is logged.
    static LogLine errorLine(std::int64_t code, const std::string& message) {
        const VELValue userInfo = {{kUnlocalizedDescriptionKey, message}};
        return {3,
                "Error: Error Domain=com.vel.posturecheck Code=" + std::to_string(code) +
                    " UserInfo=" + userInfo.dump(),
                "SetPostureCheckError"};
    }

    /// Holds a posture-check error against its code and text.
    static void expectError(const std::optional<VELError>& error, std::int64_t code,
                            const std::string& message) {
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), kVELPostureCheckErrorDomain);
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(error->message(), message);
    }

    /// The result of a request with these entries on the described Mac, without its timings.
    VELDictionary resultOf(const VELArray& entries) {
        const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, mac);
        VELDictionary result = runner->runDeviceTrustCheckFromDictionary({{"mac", entries}});
        static_cast<void>(keepResult(result.dump()));
        result.erase("metrics");
        return result;
    }

    std::shared_ptr<VELSimulatedPlatform> mac = std::make_shared<VELSimulatedPlatform>();
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::optional<VELError> error;
};
