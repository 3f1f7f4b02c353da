// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// The command `what-if`: tries a request on many described Macs. Returns the exit status; throws
/// `ProgramFailure`.
int runWhatIfCommand(const CommandLine& commandLine);
