// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// Asks the machine all that needs no request, and what the named requests need beside that, and
/// writes its description. Returns the exit status, 0.
int runDescribeCommand(const CommandLine& commandLine);
