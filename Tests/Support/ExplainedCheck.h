// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Platform/VELPlatform.h"
#include "Tests/Support/EngineTest.h"
#include "Tools/vel-posture/RecordedRequest.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/explain/Evidence.h"

#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

/// What one entry yields on a machine, and why.
struct ExplainedCheck {
    CheckOutcome::Kind outcome;
    Evidence evidence;
};

inline ExplainedCheck explainedCheck(const VELDictionary& entry,
                                     std::shared_ptr<const VELPlatform> machine) {
    const auto recording = std::make_shared<VELRecording>();
    const auto platform =
        std::make_shared<const VELRecordingPlatform>(std::move(machine), recording);
    const VELValue request = {{"mac", VELValue::array({entry})}};
    const auto runner = VELPlatformRunnerFactory::runner(
        "mac", catalogueWithRecording(macPostureCheckCatalogue(platform), request, recording),
        nullptr, platform);
    const VELValue result = resultOf(*runner, request.dump());
    const CheckOutcome outcome = checkOutcomes(result, request).at(0);
    const std::vector<VELRecordedAnswer> answers = recording->answers();
    return {outcome.kind, explain(entry, outcome.kind, outcome.error, answers)};
}
