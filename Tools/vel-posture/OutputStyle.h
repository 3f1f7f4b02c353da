// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"
#include "Tools/vel-posture/ReportText.h"

/// The format that the command line asks for: by default text on a terminal, else JSON.
CommandLine::Format outputFormat(const CommandLine& commandLine);

/// How a report looks: wrapped and coloured on a terminal alone.
ReportStyle styleOfOutput(const CommandLine& commandLine);
