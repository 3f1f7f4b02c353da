// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// The command `test`: tries requests on described Macs of which files say what they have to come
/// to, and writes what differs. Returns the exit status; throws `ProgramFailure`.
int runTestCommand(const CommandLine& commandLine);
