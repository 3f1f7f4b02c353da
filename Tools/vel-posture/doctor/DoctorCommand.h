// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/CommandLine.h"

/// Says what can be asked as this account on this machine. Returns the exit status: 0 if everything
/// can, else 1.
int runDoctorCommand(const CommandLine& commandLine);
