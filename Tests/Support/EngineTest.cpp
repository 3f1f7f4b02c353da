// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/EngineTest.h"

#include "Tests/Support/KeptDocuments.h"

#include <utility>

EngineTest::EngineTest()
    : platform(std::make_shared<VELSimulatedPlatform>()),
      logger(std::make_shared<RecordingLogger>()) {}

EngineTest::~EngineTest() {
    VELDTLogger::setLogger(nullptr);
}

std::unique_ptr<VELPostureCheckRunner>
EngineTest::runnerWith(VELPostureCheckCatalogue catalogue) const {
    return VELPlatformRunnerFactory::runner("mac", std::move(catalogue), logger, platform);
}

std::unique_ptr<VELPostureCheckRunner> EngineTest::macRunner() const {
    return VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
}

VELValue EngineTest::json(std::string_view text) {
    return VELValue::parse(text);
}

VELValue resultOf(const VELPostureCheckRunner& runner, std::string_view request) {
    return VELValue::parse(keepResult(runner.runPostureCheckFromDocumentString(request)));
}
