// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/check/RequestRun.h"

#include <string>

/// What to tell about a request that lists no check: 'no checks under "mac"', and what its author
/// may have meant: a key that is close to "mac" or holds checks, or a machine description.
std::string noChecksWarning(const RequestRun& run);
