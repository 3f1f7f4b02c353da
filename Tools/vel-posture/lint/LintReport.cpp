// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/LintReport.h"

#include <nlohmann/json.hpp>

namespace {

Colour colourOf(Severity severity) {
    switch (severity) {
    case Severity::error:
        return Colour::red;
    case Severity::warning:
        return Colour::yellow;
    case Severity::note:
        break;
    }
    return Colour::none;
}

/// "request.json:3:12: warning: unread-key".
std::string headingOf(const std::string& name, const Finding& finding) {
    return printable(name) + ":" + std::to_string(finding.line) + ":" +
           std::to_string(finding.column) + ": " + nameOf(finding.rule.severity) + ": " +
           std::string(finding.rule.code);
}

} // namespace

const char* nameOf(Severity severity) {
    switch (severity) {
    case Severity::error:
        return "error";
    case Severity::warning:
        return "warning";
    case Severity::note:
        break;
    }
    return "note";
}

std::string lintReport(const std::vector<LintedRequest>& requests, const ReportStyle& style) {
    constexpr std::size_t indent = 4;
    std::string report;
    std::size_t count = 0;
    for (const auto& [name, findings] : requests) {
        for (const Finding& finding : findings) {
            addParagraph(report, headingOf(name, finding), 0, colourOf(finding.rule.severity),
                         style);
            addParagraph(report, printable(finding.place) + " " + printable(finding.problem),
                         indent, Colour::none, style);
            addParagraph(report, "advice: " + printable(finding.advice), indent, Colour::none,
                         style);
            ++count;
        }
    }
    if (count == 0) {
        addParagraph(report, "no findings", 0, Colour::green, style);
    } else {
        report += '\n';
        addParagraph(report, countOf(count, "finding", "findings"), 0, Colour::red, style);
    }
    return report;
}

std::string lintJSON(const std::vector<LintedRequest>& requests) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const auto& [name, findings] : requests) {
        for (const Finding& finding : findings) {
            list.push_back(
                {{"file", name},
                 {"line", finding.line},
                 {"column", finding.column},
                 {"severity", nameOf(finding.rule.severity)},
                 {"code", finding.rule.code},
                 {"text", finding.place + " " + finding.problem + "; " + finding.advice}});
        }
    }
    return nlohmann::ordered_json{{"findings", std::move(list)}}.dump(
        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
