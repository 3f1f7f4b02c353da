// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/trial/Trial.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RecordedRequest.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/NoChecksWarning.h"
#include "Tools/vel-posture/explain/EvidenceCode.h"
#include "Tools/vel-posture/explain/FurtherQuestions.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

namespace {

/// A runner of all check types on `machine`.
std::unique_ptr<VELPostureCheckRunner> runnerOn(std::shared_ptr<VELSimulatedPlatform> machine) {
    return VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, std::move(machine));
}

VELValue readRequest(const std::string& name, const std::string& document) {
    std::optional<VELError> error;
    auto request = vel::readJSON(document, &error);
    if (!request) {
        throw ProgramFailure("request \"" + name + "\": " + error->message());
    }
    if (request->is_object() && request->contains(kIDParams)) {
        throw ProgramFailure("request \"" + name + "\": it asks for identity values, not checks");
    }
    return *std::move(request);
}

/// Those that belong to an entry. They stand together, since checks run one after another.
std::span<const VELRecordedAnswer> answersOf(std::size_t entry,
                                             std::span<const VELRecordedAnswer> answers) {
    const auto isOfEntry = [entry](const VELRecordedAnswer& answer) {
        return answer.entry == entry;
    };
    const auto first = std::ranges::find_if(answers, isOfEntry);
    return {first, std::find_if_not(first, answers.end(), isOfEntry)};
}

} // namespace

Trial::Trial(const std::string& name, const std::string& document)
    : _request(readRequest(name, document)) {
    RequestRun run;
    run.name = name;
    run.document = document;
    run.request = _request;
    try {
        // On a Mac of which nothing is known: a malformed request is refused before it is asked.
        run.result = runnerOn(std::make_shared<VELSimulatedPlatform>())
                         ->runDeviceTrustCheckFromDictionary(_request);
    } catch (const std::invalid_argument& malformed) {
        throw ProgramFailure("request \"" + name + "\": " + malformed.what());
    }
    if (ranNoCheck(run.result)) {
        diagnose("\"" + name + "\": " + noChecksWarning(run));
    }
    for (const CheckOutcome& check : checkOutcomes(run.result, _request)) {
        _types.push_back(check.type);
    }
}

TriedRequest Trial::run(const std::shared_ptr<VELSimulatedPlatform>& machine,
                        Explaining explaining) const {
    machine->certificateStore.parsed = _parsed;
    const auto recording = std::make_shared<VELRecording>();
    const auto platform = std::make_shared<const VELRecordingPlatform>(machine, recording);
    const auto runner = VELPlatformRunnerFactory::runner(
        platformIdentifier,
        catalogueWithRecording(macPostureCheckCatalogue(platform), _request, recording), nullptr,
        platform);
    const VELValue result = runner->runDeviceTrustCheckFromDictionary(_request);
    const std::vector<VELRecordedAnswer> answers = recording->takeAnswers();

    TriedRequest tried{result.at("pass").get<bool>(), {}};
    for (const CheckOutcome::Kind kind : outcomeKinds(result, _request)) {
        const std::size_t index = tried.checks.size();
        TriedCheck& check = tried.checks.emplace_back();
        check.outcome = kind;
        if (kind == CheckOutcome::Kind::error) {
            check.error = vel::displayText(result.at("checks").at(index).at("error"));
        }
        const VELValue& entry = _request.at(platformIdentifier).at(index);
        const auto explainFrom = [&](std::span<const VELRecordedAnswer> known) {
            if (explaining == Explaining::inFull) {
                check.evidence = explain(entry, kind, check.error, known);
            } else {
                check.evidence.code = evidenceCode(entry, kind, check.error, known);
            }
        };
        const auto own = answersOf(index, answers);
        if (kind == CheckOutcome::Kind::pass) {
            explainFrom(own);
        } else {
            std::vector<VELRecordedAnswer> more(own.begin(), own.end());
            askFurther(own, *platform);
            std::ranges::move(recording->takeAnswers(), std::back_inserter(more));
            explainFrom(more);
        }
    }
    return tried;
}
