// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/OutputStyle.h"

#include "Tools/vel-posture/StandardStreams.h"

#include <unistd.h>

CommandLine::Format outputFormat(const CommandLine& commandLine) {
    const bool isForPeople =
        isTerminal(STDOUT_FILENO) && !commandLine.output && !commandLine.envelope;
    return commandLine.format.value_or(isForPeople ? CommandLine::Format::text
                                                   : CommandLine::Format::json);
}

ReportStyle styleOfOutput(const CommandLine& commandLine) {
    if (commandLine.output || !isTerminal(STDOUT_FILENO)) {
        return {};
    }
    return {terminalColumns(STDOUT_FILENO), wantsColour()};
}
