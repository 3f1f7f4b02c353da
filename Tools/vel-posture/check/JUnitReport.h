// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/check/RequestRun.h"

#include <string>
#include <string_view>
#include <vector>

/// Results as a JUnit XML document: a test suite per request, a test case per check. A check that
/// did not pass is a failure, one that ended in an error is an error. An identity request that was
/// answered is one passing test case; an error result is one test case with an error.
std::string junitReport(const std::vector<RequestRun>& runs, std::string_view host);
