// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/trial/Trial.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/NoChecksWarning.h"

#include <optional>
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

TriedRequest Trial::run(const std::shared_ptr<VELSimulatedPlatform>& machine) const {
    machine->certificateStore.parsed = _parsed;
    const VELValue result = runnerOn(machine)->runDeviceTrustCheckFromDictionary(_request);
    TriedRequest tried{result.at("pass").get<bool>(), {}};
    const VELValue& checks = result.at("checks");
    for (const CheckOutcome::Kind kind : outcomeKinds(result, _request)) {
        TriedCheck& check = tried.checks.emplace_back();
        check.outcome = kind;
        if (kind == CheckOutcome::Kind::error) {
            check.error = vel::displayText(checks.at(tried.checks.size() - 1).at("error"));
        }
    }
    return tried;
}
