// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// The commands `check` and `identity`: run a request and write its result. Return the exit status;
/// throw `ProgramFailure`.
int runCheckCommand(const CommandLine& commandLine);
int runIdentityCommand(const CommandLine& commandLine);
