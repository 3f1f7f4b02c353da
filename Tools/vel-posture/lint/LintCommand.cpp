// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintCommand.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/lint/LintReport.h"
#include "Tools/vel-posture/lint/RequestLint.h"

#include <chrono>

int runLintCommand(const CommandLine& commandLine) {
    const LintRules rules = {
        platformIdentifier, macPostureCheckCatalogue(VELPlatform::host()),
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now())};
    std::string failure;
    const auto findings = findingsInDocument(readRequest(commandLine.request), rules, &failure);
    if (!findings) {
        throw ProgramFailure("cannot lint " + nameOfRequest(commandLine.request) + ": " + failure);
    }
    writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                            ? lintReport(*findings, styleOfStandardOutput())
                            : lintJSON(*findings) + "\n");
    return findings->empty() ? 0 : 1;
}
