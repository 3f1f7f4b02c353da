// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/OutputStyle.h"

#include "Tools/vel-posture/StandardStreams.h"

#include <unistd.h>

CommandLine::Format outputFormat(const CommandLine& commandLine) {
    return commandLine.format.value_or(isTerminal(STDOUT_FILENO) ? CommandLine::Format::text
                                                                 : CommandLine::Format::json);
}

ReportStyle styleOfStandardOutput() {
    if (!isTerminal(STDOUT_FILENO)) {
        return {};
    }
    return {terminalColumns(STDOUT_FILENO), wantsColour()};
}
