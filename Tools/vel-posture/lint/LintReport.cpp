// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintReport.h"

#include "Tools/vel-posture/DisplayText.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <string_view>

namespace {

constexpr std::string_view indentation = "    ";
constexpr std::size_t narrowestText = 12; // narrower, and nothing is indented
constexpr std::string_view advice = "advice: ";

constexpr std::string_view boldGreen = "\x1b[1;32m";
constexpr std::string_view boldRed = "\x1b[1;31m";
constexpr std::string_view boldYellow = "\x1b[1;33m";
constexpr std::string_view plain = "\x1b[0m";

/// Adds `text` in lines of their own, in a colour where the style has colours.
void addLines(std::string& report, std::string_view text, std::string_view indent,
              std::string_view colour, const ReportStyle& style) {
    if (style.columns && *style.columns < indent.size() + narrowestText) {
        indent = {};
    }
    const std::string shown = printable(text);
    const auto lines = style.columns ? wrapped(shown, *style.columns - indent.size())
                                     : std::vector<std::string_view>{shown};
    const bool isColoured = style.colour && !colour.empty();
    for (const std::string_view line : lines) {
        report += indent;
        report += isColoured ? colour : "";
        report += line;
        report += isColoured ? plain : "";
        report += '\n';
    }
}

std::string countOf(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " finding" : " findings");
}

} // namespace

std::string lintReport(const std::vector<Finding>& findings, const ReportStyle& style) {
    std::string report;
    for (const Finding& finding : findings) {
        addLines(report, finding.place, {}, boldYellow, style);
        addLines(report, finding.problem, indentation, {}, style);
        addLines(report, std::string(advice) + finding.advice, indentation, {}, style);
    }
    if (findings.empty()) {
        addLines(report, "no findings", {}, boldGreen, style);
    } else {
        report += '\n';
        addLines(report, countOf(findings.size()), {}, boldRed, style);
    }
    return report;
}

std::string lintJSON(const std::vector<Finding>& findings) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Finding& finding : findings) {
        list.push_back(
            {{"place", finding.place}, {"problem", finding.problem}, {"advice", finding.advice}});
    }
    return nlohmann::ordered_json{{"findings", std::move(list)}}.dump();
}
