// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/doctor/DoctorCommand.h"

#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/doctor/Diagnosis.h"

#include <algorithm>

int runDoctorCommand(const CommandLine& commandLine) {
    const std::vector<Diagnosis> diagnoses = diagnosesOf(VELPlatform::host());
    writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                            ? diagnosisReport(diagnoses, styleOfOutput(commandLine))
                            : diagnosisJSON(diagnoses) + "\n");
    return std::ranges::all_of(diagnoses, &Diagnosis::canBeAsked) ? 0 : 1;
}
