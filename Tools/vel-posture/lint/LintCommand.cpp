// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintCommand.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/lint/LintReport.h"
#include "Tools/vel-posture/lint/RequestLint.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

std::string shownName(const std::string& path) {
    return path == "-" ? nameOfRequest(path) : "\"" + path + "\"";
}

bool hasFindingOf(Severity least, const std::vector<Finding>& findings) {
    return std::any_of(findings.begin(), findings.end(),
                       [least](const Finding& finding) { return finding.rule.severity >= least; });
}

} // namespace

int runLintCommand(const CommandLine& commandLine) {
    const LintRules rules = {
        platformIdentifier, macPostureCheckCatalogue(VELPlatform::host()),
        std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now())};
    int status = 0;
    std::vector<LintedRequest> requests;
    for (const std::string& path : requestPaths(commandLine.requests)) {
        std::string failure;
        auto findings = findingsInDocument(readRequest(path), rules, &failure);
        if (!findings) {
            diagnose("cannot lint " + shownName(path) + ": " + failure);
            status = 2;
            continue;
        }
        status = worseStatus(status, hasFindingOf(commandLine.failOn, *findings) ? 1 : 0);
        requests.push_back({nameOfRequest(path), std::move(*findings)});
    }
    if (!requests.empty()) {
        writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                                ? lintReport(requests, styleOfOutput(commandLine))
                                : lintJSON(requests) + "\n");
    }
    return status;
}
