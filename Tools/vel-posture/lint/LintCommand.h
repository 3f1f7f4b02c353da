// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// The command `lint`: reports likely mistakes in a request. Returns the exit status; throws
/// `ProgramFailure`.
int runLintCommand(const CommandLine& commandLine);
