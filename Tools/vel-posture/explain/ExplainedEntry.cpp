// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/ExplainedEntry.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tools/vel-posture/RecordedRequest.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/explain/ExplainedResult.h"
#include "Tools/vel-posture/explain/FurtherQuestions.h"

ExplainedEntry runExplained(const VELDictionary& entry,
                            std::shared_ptr<const VELPlatform> platform) {
    const auto recording = std::make_shared<VELRecording>();
    const auto recorded =
        std::make_shared<const VELRecordingPlatform>(std::move(platform), recording);
    const VELValue request = {{platformIdentifier, VELValue::array({entry})}};
    const auto runner = VELPlatformRunnerFactory::runner(
        platformIdentifier,
        catalogueWithRecording(macPostureCheckCatalogue(recorded), request, recording), nullptr,
        recorded);
    const VELValue result =
        VELValue::parse(runner->runPostureCheckFromDocumentString(request.dump()));
    askFurther(*recording, *recorded);
    return {checkOutcomes(result, request).at(0).kind,
            evidenceOfResult(result, request, recording->takeAnswers()).at(0)};
}
