// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintReport.h"

#include <nlohmann/json.hpp>

std::string lintReport(const std::vector<Finding>& findings, const ReportStyle& style) {
    constexpr std::size_t indent = 4;
    std::string report;
    for (const Finding& finding : findings) {
        addParagraph(report, printable(finding.place), 0, Colour::yellow, style);
        addParagraph(report, printable(finding.problem), indent, Colour::none, style);
        addParagraph(report, "advice: " + printable(finding.advice), indent, Colour::none, style);
    }
    if (findings.empty()) {
        addParagraph(report, "no findings", 0, Colour::green, style);
    } else {
        report += '\n';
        addParagraph(report, countOf(findings.size(), "finding", "findings"), 0, Colour::red,
                     style);
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
