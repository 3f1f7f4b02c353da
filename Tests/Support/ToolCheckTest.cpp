// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ToolCheckTest.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Tests/Support/KeptDocuments.h"

#include <stdexcept>
#include <utility>

ToolCheckTest::ToolCheckTest()
    : mac(std::make_shared<VELSimulatedPlatform>()), logger(std::make_shared<RecordingLogger>()) {}

void ToolCheckTest::SetUp() {
    VELDTLogger::setLogger(logger);
}

void ToolCheckTest::TearDown() {
    VELDTLogger::setLogger(nullptr);
}

void ToolCheckTest::answer(Command command, std::string output) {
    VELSimulatedRun run;
    run.command = std::move(command);
    run.output = std::move(output);
    mac->tools.push_back(std::move(run));
}

void ToolCheckTest::fail(Command command, std::int32_t status) {
    VELSimulatedRun run;
    run.command = std::move(command);
    run.status = status;
    mac->tools.push_back(std::move(run));
}

ToolCheckTest::Commands ToolCheckTest::launched() const {
    return mac->taskRecord.launchedCommands();
}

LogLine ToolCheckTest::errorLine(std::int64_t code, const std::string& message) {
    const VELValue userInfo = {{kUnlocalizedDescriptionKey, message}};
    return {3,
            "Error: Error Domain=com.vel.posturecheck Code=" + std::to_string(code) +
                " UserInfo=" + userInfo.dump(),
            "SetPostureCheckError"};
}

void ToolCheckTest::expectError(const std::optional<VELError>& error, std::int64_t code,
                                const std::string& message) {
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), kVELPostureCheckErrorDomain);
    EXPECT_EQ(error->code(), code);
    EXPECT_EQ(error->message(), message);
}

void ToolCheckTest::expectRaised(const std::function<void()>& work, const std::string& text) {
    try {
        work();
        FAIL() << "raised nothing, not: " << text;
    } catch (const std::invalid_argument& exception) {
        EXPECT_EQ(exception.what(), text);
    }
}

VELDictionary ToolCheckTest::resultOf(const VELArray& entries) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, mac);
    VELDictionary result = runner->runDeviceTrustCheckFromDictionary({{"mac", entries}});
    static_cast<void>(keepResult(result.dump()));
    result.erase("metrics");
    return result;
}
