// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/Program.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/catalogue/CatalogueReport.h"
#include "Tools/vel-posture/check/CheckCommand.h"
#include "Tools/vel-posture/doctor/DoctorCommand.h"
#include "Tools/vel-posture/lint/LintCommand.h"
#include "Tools/vel-posture/record/DescribeCommand.h"
#include "Tools/vel-posture/test/TestCommand.h"
#include "Tools/vel-posture/what-if/WhatIfCommand.h"

namespace {

int runCatalogueCommand(const CommandLine& commandLine) {
    const VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(VELPlatform::host());
    writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                            ? catalogueReport(catalogue, styleOfOutput(commandLine))
                            : catalogueJSON(catalogue) + "\n");
    return 0;
}

} // namespace

int runProgram(const CommandLine& commandLine) {
    switch (commandLine.command) {
    case CommandLine::Command::check:
        return runCheckCommand(commandLine);
    case CommandLine::Command::identity:
        return runIdentityCommand(commandLine);
    case CommandLine::Command::lint:
        return runLintCommand(commandLine);
    case CommandLine::Command::describe:
        return runDescribeCommand(commandLine);
    case CommandLine::Command::test:
        return runTestCommand(commandLine);
    case CommandLine::Command::whatIf:
        return runWhatIfCommand(commandLine);
    case CommandLine::Command::catalogue:
        return runCatalogueCommand(commandLine);
    case CommandLine::Command::doctor:
        return runDoctorCommand(commandLine);
    case CommandLine::Command::printText:
        break;
    }
    writeStandardOutput(commandLine.text);
    return 0;
}
