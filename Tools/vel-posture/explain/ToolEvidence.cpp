// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/ToolEvidence.h"

#include "Base/VELDuration.h"
#include "Base/VELText.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "Tools/vel-posture/DisplayText.h"

#include <cmath>

using vel::recorded::Run;

namespace {

std::string secondsText(std::chrono::nanoseconds time) {
    const long tenths = std::lround(vel::seconds(time) * 10);
    return std::to_string(tenths / 10) +
           (tenths % 10 != 0 ? "." + std::to_string(tenths % 10) : "") + " s";
}

bool isCode(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char character) {
        return (character >= 'a' && character <= 'z') || character == '-';
    });
}

} // namespace

bool asksWhy(const Run& run) {
    return run.command.size() > 1 && run.command.back() == whyArgument;
}

std::vector<const Run*> runsOf(std::string_view tool, Answers answers) {
    std::vector<const Run*> runs = answersOf<Run>(answers);
    std::erase_if(runs, [tool](const Run* run) {
        return run->command.empty() || run->command.front() != tool || asksWhy(*run);
    });
    return runs;
}

const Run* runOf(std::string_view tool, Answers answers) {
    const auto runs = runsOf(tool, answers);
    return runs.empty() ? nullptr : runs.front();
}

std::optional<Evidence> failureOf(const Run& run, const std::string& prefix) {
    const std::string program = printable(run.launchPath);
    if (run.launchFailure) {
        return Evidence{.code = prefix + "-not-launched",
                        .text = program + " cannot be run: " + printable(*run.launchFailure),
                        .expected = nullptr,
                        .found = *run.launchFailure,
                        .source = run.launchPath};
    }
    const std::int32_t status = run.status.value_or(0);
    if (status == 0) {
        return std::nullopt;
    }
    Evidence evidence = {.code = prefix + "-failed",
                         .text = program + " exited with status " + std::to_string(status),
                         .expected = 0,
                         .found = status,
                         .source = run.launchPath};
    if (run.terminatedAfter) {
        evidence.code = prefix + "-timed-out";
        evidence.text = program + " did not end within " + secondsText(*run.terminatedAfter) +
                        " and was stopped";
    } else if (status == -1) {
        evidence.code = prefix + "-status-lost";
        evidence.text = "the exit status of " + program +
                        " was lost: the host program ignores or reaps its children";
    }
    return evidence;
}

std::optional<std::string> printedBy(const Run& run) {
    return run.outputState == Run::Output::complete && vel::isValidUTF8(run.output)
               ? std::optional(run.output)
               : std::nullopt;
}

Evidence unreadableOutput(const Run& run, const std::string& prefix) {
    const std::string program = printable(run.launchPath);
    Evidence evidence = {.code = prefix + "-output-unreadable",
                         .text = "what " + program + " printed cannot be read",
                         .expected = nullptr,
                         .found = nullptr,
                         .source = run.launchPath};
    if (run.outputState == Run::Output::heldOpen) {
        evidence.code = prefix + "-output-held-open";
        evidence.text = program + " left a process behind that keeps its output open";
    } else if (run.outputState == Run::Output::complete) {
        evidence.code = prefix + "-output-not-text";
        evidence.text = "what " + program + " printed is not UTF-8";
    }
    return evidence;
}

Evidence explainedByHelper(const std::vector<std::string>& command, Answers answers,
                           Evidence evidence) {
    std::vector<std::string> question = command;
    question.emplace_back(whyArgument);
    for (const Run* each : answersOf<Run>(answers)) {
        if (each->command != question || failureOf(*each, "")) {
            continue;
        }
        const std::string line = printedBy(*each).value_or("");
        const std::size_t colon = line.find(": ");
        if (colon != std::string::npos && line.ends_with('\n') && isCode(line.substr(0, colon)) &&
            line.substr(0, colon) != "known") {
            evidence.code = line.substr(0, colon);
            evidence.text = printable(line.substr(colon + 2, line.size() - colon - 3));
        }
    }
    return evidence;
}

Evidence unreadableKeychains(VELSecurityStatus status, Answers answers, VELValue expected) {
    Evidence evidence = {.code = "keychain-not-readable",
                         .text = "the keychains cannot be read: status " +
                                 std::to_string(vel::integerOfStatus(status)) + ", " +
                                 vel::security::textOfStatus(status),
                         .expected = std::move(expected),
                         .found = vel::integerOfStatus(status),
                         .source = "the keychains"};
    return explainedByHelper({keychainTool}, answers, std::move(evidence));
}
