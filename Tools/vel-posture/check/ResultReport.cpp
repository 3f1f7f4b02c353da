// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/ResultReport.h"

#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t resultColumns = 6; // "RESULT"

using Kind = CheckOutcome::Kind;

struct CheckLine {
    Kind kind;
    std::string milliseconds;
    std::string type;
    std::string detail;
    std::string reason; // empty: not asked for
};

Colour colourOf(Kind kind) {
    switch (kind) {
    case Kind::pass:
        return Colour::green;
    case Kind::fail:
        return Colour::red;
    case Kind::error:
        break;
    }
    return Colour::yellow;
}

std::string millisecondsText(double milliseconds) {
    return decimalText(milliseconds, 3);
}

/// By what a reader tells entries of one type apart.
std::string detailOf(const CheckOutcome& check) {
    if (check.kind != Kind::error) {
        return check.parameters;
    }
    return check.identification.empty() ? check.error
                                        : check.error + " (" + check.identification + ")";
}

std::vector<CheckLine> checkLines(const std::vector<CheckOutcome>& checks, bool onlyFailing,
                                  const std::vector<Evidence>& evidence) {
    std::vector<CheckLine> lines;
    for (std::size_t index = 0; index < checks.size(); ++index) {
        const CheckOutcome& check = checks[index];
        if (!onlyFailing || check.kind != Kind::pass) {
            lines.push_back({check.kind, millisecondsText(check.milliseconds), check.type,
                             detailOf(check), index < evidence.size() ? evidence[index].text : ""});
        }
    }
    return lines;
}

std::string rightAligned(std::string_view text, std::size_t columns) {
    return std::string(text.size() < columns ? columns - text.size() : 0, ' ') + std::string(text);
}

std::string outcomeColumn(Kind outcome, const ReportStyle& style) {
    const std::string name = nameOf(outcome);
    return coloured(name, colourOf(outcome), style) + std::string(resultColumns - name.size(), ' ');
}

void addReason(std::string& report, const CheckLine& line, const ReportStyle& style) {
    if (!line.reason.empty()) {
        addParagraph(report, line.reason, resultColumns + columnGap.size(), Colour::none, style);
    }
}

std::string checkTable(const std::vector<CheckLine>& lines, std::size_t millisecondsColumns,
                       std::size_t typeColumns, const ReportStyle& style) {
    const std::size_t detailColumn =
        resultColumns + millisecondsColumns + typeColumns + 3 * columnGap.size();
    std::string report;
    report += padded("RESULT", resultColumns) + std::string(columnGap) +
              rightAligned("MS", millisecondsColumns) + std::string(columnGap) +
              padded("CHECK", typeColumns) + std::string(columnGap) + "DETAIL";
    endLine(report);
    for (const CheckLine& line : lines) {
        report += outcomeColumn(line.kind, style);
        report += columnGap;
        report += rightAligned(line.milliseconds, millisecondsColumns);
        report += columnGap;
        report +=
            padded(style.columns ? truncated(line.type, typeColumns) : line.type, typeColumns);
        report += columnGap;
        addWrapped(report, line.detail, detailColumn, style);
        endLine(report);
        addReason(report, line, style);
    }
    return report;
}

/// For a narrow terminal: type and milliseconds beside the outcome, the rest below them.
std::string checkList(const std::vector<CheckLine>& lines, std::size_t columns,
                      const ReportStyle& style) {
    const std::size_t indent = resultColumns + columnGap.size();
    std::string report;
    const auto addBelow = [&](std::string_view text) {
        report.append(indent, ' ');
        addWrapped(report, text, indent, style);
        endLine(report);
    };
    for (const CheckLine& line : lines) {
        const std::string milliseconds = line.milliseconds + " ms";
        const bool fits =
            indent + displayWidth(line.type) + columnGap.size() + milliseconds.size() <= columns;
        report += outcomeColumn(line.kind, style);
        report += columnGap;
        addWrapped(report, fits ? line.type + std::string(columnGap) + milliseconds : line.type,
                   indent, style);
        endLine(report);
        if (!fits) {
            addBelow(milliseconds);
        }
        if (!line.detail.empty()) {
            addBelow(line.detail);
        }
        addReason(report, line, style);
    }
    return report;
}

std::vector<std::string> summaryOf(const std::vector<CheckOutcome>& checks,
                                   const VELValue& metrics) {
    if (checks.empty()) {
        return {"no checks were run"};
    }
    const auto count = [&checks](Kind kind) {
        return static_cast<std::size_t>(
            std::count_if(checks.begin(), checks.end(),
                          [kind](const CheckOutcome& check) { return check.kind == kind; }));
    };
    std::vector<std::string> parts = {std::to_string(count(Kind::pass)) + " of " +
                                      countOf(checks.size(), "check passed", "checks passed")};
    if (const std::size_t failures = count(Kind::fail); failures != 0) {
        parts.push_back(countOf(failures, "failed", "failed"));
    }
    if (const std::size_t errors = count(Kind::error); errors != 0) {
        parts.push_back(countOf(errors, "error", "errors"));
    }
    parts.push_back(millisecondsText(metrics.at("total_ms").get<double>()) + " ms");
    return parts;
}

std::string verdict(const VELValue& result, const std::vector<CheckOutcome>& checks,
                    const ReportStyle& style) {
    const bool passed = result.at("pass").get<bool>();
    const std::string_view word = passed ? "PASSED" : "NOT PASSED";
    // A request that asked for nothing passes, which its author probably did not mean.
    const Colour colour = !passed ? Colour::red : checks.empty() ? Colour::yellow : Colour::green;
    std::string report = coloured(std::string(word), colour, style);
    report += columnGap;
    addList(report, summaryOf(checks, result.at("metrics")), word.size() + columnGap.size(), style);
    endLine(report);
    return report;
}

std::string checkReport(const std::vector<CheckLine>& lines, const ReportStyle& style) {
    std::size_t millisecondsColumns = 2; // "MS"
    for (const CheckLine& line : lines) {
        millisecondsColumns = std::max(millisecondsColumns, line.milliseconds.size());
    }
    const std::size_t typeColumns =
        columnsOfNames(lines, 5, [](const CheckLine& line) { return std::string_view(line.type); });
    const std::size_t detailColumn =
        resultColumns + millisecondsColumns + typeColumns + 3 * columnGap.size();
    const bool fits = !style.columns || detailColumn + narrowestDetail <= *style.columns;
    return (fits ? checkTable(lines, millisecondsColumns, typeColumns, style)
                 : checkList(lines, *style.columns, style)) +
           "\n";
}

std::string deviceTrustReport(const VELValue& result, const VELValue& request,
                              const ReportStyle& style, bool onlyFailing,
                              const std::vector<Evidence>& evidence) {
    const std::vector<CheckOutcome> checks = checkOutcomes(result, request);
    const std::vector<CheckLine> lines = checkLines(checks, onlyFailing, evidence);
    return (lines.empty() ? "" : checkReport(lines, style)) + verdict(result, checks, style);
}

std::string identityReport(const VELValue& result, const ReportStyle& style) {
    std::vector<NamedText> texts;
    if (const auto values = result.find(kIDParams); values != result.end()) {
        for (const auto& [name, value] : values->items()) {
            std::string text = shown(value);
            texts.emplace_back(printable(name), text.empty() ? "(empty)" : std::move(text));
        }
    }
    return texts.empty() ? "no identity values\n" : namedTexts(texts, 0, style);
}

std::string errorReport(const VELValue& result, const ReportStyle& style) {
    std::string report = coloured("ERROR", Colour::red, style) + std::string(columnGap);
    addWrapped(report, shown(result.at("error")), 5 + columnGap.size(), style);
    endLine(report);
    return report;
}

} // namespace

std::string resultReport(const VELValue& result, const VELValue& request, const ReportStyle& style,
                         bool onlyFailing, const std::vector<Evidence>& evidence) {
    if (isErrorResult(result)) {
        return errorReport(result, style);
    }
    return isDeviceTrustResult(result)
               ? deviceTrustReport(result, request, style, onlyFailing, evidence)
               : identityReport(result, style);
}
