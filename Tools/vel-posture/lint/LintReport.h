// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/lint/Finding.h"

#include <string>
#include <vector>

/// Findings for people, in whole lines of UTF-8: the place, the problem and the advice of each,
/// then how many there are.
std::string lintReport(const std::vector<Finding>& findings, const ReportStyle& style);

/// The same as compact JSON: {"findings":[{"place":"...","problem":"...","advice":"..."}]}.
std::string lintJSON(const std::vector<Finding>& findings);
