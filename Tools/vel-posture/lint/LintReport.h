// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/lint/Finding.h"

#include <string>
#include <vector>

/// The findings in one request. Its name is its path, or "standard input".
struct LintedRequest {
    std::string name;
    std::vector<Finding> findings;
};

/// "error", "warning" or "note".
const char* nameOf(Severity severity);

/// Findings for people, in whole lines of UTF-8: where each is, its severity and code, the place,
/// the problem and the advice; then how many there are.
std::string lintReport(const std::vector<LintedRequest>& requests, const ReportStyle& style);

/// The same as compact JSON:
/// {"findings":[{"file":"...","line":1,"column":1,"severity":"...","code":"...","text":"..."}]}.
std::string lintJSON(const std::vector<LintedRequest>& requests);
