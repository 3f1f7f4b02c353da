// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// Does what the command line asks for and returns the exit status. Throws `ProgramFailure`.
int runProgram(const CommandLine& commandLine);
