// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/MachineRecord.h"

#include "Platform/Recording/VELRecordedMachine.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/record/Redaction.h"

#include <utility>

std::string machineRecord(const VELRecording& recording, const std::vector<VELValue>* requests) {
    if (!recording.isComplete()) {
        throw ProgramFailure("cannot describe the machine: an answer was lost");
    }
    std::vector<VELRecordedAnswer> answers = recording.answers();
    if (requests != nullptr) {
        answers = redacted(std::move(answers), *requests);
    }
    std::string error;
    const auto description = vel::descriptionOfAnswers(answers, &error);
    if (!description) {
        throw ProgramFailure("cannot describe the machine: " + error);
    }
    return *description + "\n";
}
