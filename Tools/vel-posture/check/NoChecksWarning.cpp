// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/NoChecksWarning.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Tools/vel-posture/NearMiss.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/lint/RequestLint.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <optional>

namespace {

/// A key that was probably meant to be one that is read, with that one.
std::string misnamedKey(const VELValue& request) {
    for (const auto& [key, value] : request.items()) {
        auto near = nearestName(key, {platformIdentifier, kIDParams});
        if (!near && isListOfChecks(value)) {
            near = platformIdentifier;
        }
        if (near && *near != key) {
            return "\"" + key + "\" is not read; did you mean \"" + *near + "\"?";
        }
    }
    return {};
}

/// A description may lack everything but its name: then it does not look like one.
bool isMachineDescription(const RequestRun& run) {
    for (const auto& [key, value] : run.request.items()) {
        if (key != "name" && key != "$schema") {
            return vel::machineFromDescription(run.document, nullptr) != nullptr;
        }
    }
    return false;
}

} // namespace

std::string noChecksWarning(const RequestRun& run) {
    const std::string text = std::string("no checks under \"") + platformIdentifier + "\"";
    if (!run.request.is_object() || run.request.contains(platformIdentifier)) {
        return text;
    }
    if (isMachineDescription(run)) {
        return text + ": the document describes a machine; give it with --machine";
    }
    const std::string misnamed = misnamedKey(run.request);
    return misnamed.empty() ? text : text + ": " + misnamed;
}
