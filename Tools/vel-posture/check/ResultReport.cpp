// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/ResultReport.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t resultColumns = 6;         // "RESULT"
constexpr std::size_t widestText = 60;           // in a parameter: a fingerprint with its spaces
constexpr std::size_t widestParameterList = 120; // of all parameters of a check

enum class Outcome { pass, fail, error };

struct CheckLine {
    Outcome outcome;
    std::string milliseconds;
    std::string type;
    std::string detail;
};

std::string_view nameOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::pass:
        return "pass";
    case Outcome::fail:
        return "fail";
    case Outcome::error:
        break;
    }
    return "error";
}

Colour colourOf(Outcome outcome) {
    switch (outcome) {
    case Outcome::pass:
        return Colour::green;
    case Outcome::fail:
        return Colour::red;
    case Outcome::error:
        break;
    }
    return Colour::yellow;
}

std::string millisecondsOf(const VELValue& metrics) {
    std::array<char, 400> digits{}; // the largest double has 309 before its point
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(),
                      metrics.at("total_ms").get<double>(), std::chars_format::fixed, 3);
    return {digits.data(), end.ptr};
}

std::string shown(const VELValue& value) {
    return printable(vel::displayText(value));
}

void addParameter(std::string& text, const VELValue& value);

/// Adds the elements of a container behind one another, with spaces at which a line can be broken.
template <typename AddElement>
void addElements(std::string& text, const VELValue& container, AddElement addElement) {
    std::string_view separator;
    for (const auto& element : container.items()) {
        // More is not shown, however wide its letters are.
        if (text.size() > 4 * widestParameterList) {
            return;
        }
        text += separator;
        addElement(element);
        separator = ", ";
    }
}

/// Adds a value within a container as JSON, its texts shortened.
void addElement(std::string& text, const VELValue& value) {
    if (value.is_string()) {
        const std::string quoted = printable(vel::compactText(value));
        const auto unquoted = std::string_view(quoted).substr(1, quoted.size() - 2);
        text += '"' + truncated(unquoted, widestText) + '"';
    } else {
        addParameter(text, value);
    }
}

void addParameter(std::string& text, const VELValue& value) {
    if (value.is_array()) {
        text += '[';
        addElements(text, value, [&text](const auto& item) { addElement(text, item.value()); });
        text += ']';
    } else if (value.is_object()) {
        text += '{';
        addElements(text, value, [&text](const auto& item) {
            addElement(text, item.key());
            text += ": ";
            addElement(text, item.value());
        });
        text += '}';
    } else {
        text += truncated(shown(value), widestText);
    }
}

/// What an entry asked for, by which a reader tells entries of one type apart.
std::string parametersOf(const VELValue& entry) {
    std::string text;
    for (const auto& [name, value] : entry.items()) {
        if (name == "type" || name == "pass") {
            continue;
        }
        text += (text.empty() ? "" : ", ") + truncated(printable(name), widestText) + ": ";
        addParameter(text, value);
        if (text.size() > 4 * widestParameterList) { // no longer fits, however wide its letters are
            break;
        }
    }
    return truncated(text, widestParameterList);
}

CheckLine checkLine(const VELValue& entry, const VELValue& metrics) {
    const auto type = entry.find("type");
    CheckLine line{Outcome::error,
                   millisecondsOf(metrics),
                   type != entry.end() ? shown(*type) : "(no type)",
                   {}};
    // An entry may bring a "pass" of its own, so the error is asked for first.
    if (const auto error = entry.find("error"); error != entry.end()) {
        line.detail = shown(*error);
    } else {
        line.outcome = entry.at("pass").get<bool>() ? Outcome::pass : Outcome::fail;
        line.detail = parametersOf(entry);
    }
    return line;
}

std::vector<CheckLine> checkLines(const VELValue& result) {
    std::vector<CheckLine> lines;
    const VELValue& details = result.at("metrics").at("details");
    for (const VELValue& entry : result.at("checks")) {
        lines.push_back(checkLine(entry, details.at(lines.size()).at("check")));
    }
    return lines;
}

std::string rightAligned(std::string_view text, std::size_t columns) {
    return std::string(text.size() < columns ? columns - text.size() : 0, ' ') + std::string(text);
}

std::string outcomeColumn(Outcome outcome, const ReportStyle& style) {
    const std::string_view name = nameOf(outcome);
    return coloured(std::string(name), colourOf(outcome), style) +
           std::string(resultColumns - name.size(), ' ');
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
        report += outcomeColumn(line.outcome, style);
        report += columnGap;
        report += rightAligned(line.milliseconds, millisecondsColumns);
        report += columnGap;
        report +=
            padded(style.columns ? truncated(line.type, typeColumns) : line.type, typeColumns);
        report += columnGap;
        addWrapped(report, line.detail, detailColumn, style);
        endLine(report);
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
        report += outcomeColumn(line.outcome, style);
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
    }
    return report;
}

std::vector<std::string> summaryOf(const std::vector<CheckLine>& lines, const VELValue& metrics) {
    if (lines.empty()) {
        return {"no checks were run"};
    }
    const auto count = [&lines](Outcome outcome) {
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [outcome](const CheckLine& line) { return line.outcome == outcome; }));
    };
    std::vector<std::string> parts = {std::to_string(count(Outcome::pass)) + " of " +
                                      countOf(lines.size(), "check passed", "checks passed")};
    if (const std::size_t failures = count(Outcome::fail); failures != 0) {
        parts.push_back(countOf(failures, "failed", "failed"));
    }
    if (const std::size_t errors = count(Outcome::error); errors != 0) {
        parts.push_back(countOf(errors, "error", "errors"));
    }
    parts.push_back(millisecondsOf(metrics) + " ms");
    return parts;
}

std::string verdict(const VELValue& result, const std::vector<CheckLine>& lines,
                    const ReportStyle& style) {
    const bool passed = result.at("pass").get<bool>();
    const std::string_view word = passed ? "PASSED" : "NOT PASSED";
    // A request that asked for nothing passes, which its author probably did not mean.
    const Colour colour = !passed ? Colour::red : lines.empty() ? Colour::yellow : Colour::green;
    std::string report = coloured(std::string(word), colour, style);
    report += columnGap;
    addList(report, summaryOf(lines, result.at("metrics")), word.size() + columnGap.size(), style);
    endLine(report);
    return report;
}

std::string deviceTrustReport(const VELValue& result, const ReportStyle& style) {
    const std::vector<CheckLine> lines = checkLines(result);
    if (lines.empty()) {
        return verdict(result, lines, style);
    }
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
           "\n" + verdict(result, lines, style);
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

bool isDeviceTrustResult(const VELValue& result) {
    return result.contains("checks");
}

bool isErrorResult(const VELValue& result) {
    return !isDeviceTrustResult(result) && result.contains("error");
}

} // namespace

std::string resultReport(const VELValue& result, const ReportStyle& style) {
    if (isErrorResult(result)) {
        return errorReport(result, style);
    }
    return isDeviceTrustResult(result) ? deviceTrustReport(result, style)
                                       : identityReport(result, style);
}

int exitStatus(const VELValue& result) {
    if (isErrorResult(result)) {
        return 2;
    }
    return isDeviceTrustResult(result) && !result.at("pass").get<bool>() ? 1 : 0;
}

bool ranNoCheck(const VELValue& result) {
    return isDeviceTrustResult(result) && result.at("checks").empty();
}
