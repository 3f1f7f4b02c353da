// SPDX-License-Identifier: Apache-2.0
#include "Base/VELXMLText.h"
#include "Tools/vel-posture/what-if/WhatIfSummary.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace {

using Kind = CheckOutcome::Kind;
using Counts = WhatIfSummary::Counts;
using Change = WhatIfSummary::Change;

constexpr std::string_view head = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>What-if summary</title>
<style>
:root { color-scheme: light dark; --pass: #2e7d46; --fail: #c62f2f; --error: #b87503; }
body { font: 16px/1.5 system-ui, sans-serif; max-width: 60rem; margin: 2rem auto; padding: 0 1rem; }
h1 { font-size: 1.5rem; } h2 { font-size: 1.2rem; margin-top: 2rem; }
.check { display: grid; grid-template-columns: minmax(0, 18rem) minmax(8rem, 1fr); gap: 0 1rem;
         margin: .75rem 0; }
.type { overflow-wrap: anywhere; }
.bar { display: flex; height: 1.1rem; margin-top: .2rem; border-radius: .2rem; overflow: hidden;
       background: #8884; }
.bar .pass { background: var(--pass); } .bar .fail { background: var(--fail); }
.bar .error { background: repeating-linear-gradient(45deg, var(--error) 0 .4rem, #0006 .4rem .6rem),
              var(--error); }
.counts { grid-column: 2; font-size: .9rem; }
.names { overflow-wrap: anywhere; columns: 16rem; }
@media (max-width: 34rem) { .check { display: block; } }
</style>
</head>
<body>
<h1>What-if summary</h1>
)";

std::string percentage(std::size_t count, std::size_t whole) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.3f%%",
                  100.0 * static_cast<double>(count) / static_cast<double>(whole));
    return text.data();
}

std::string textOf(const std::map<std::string, std::size_t>& causes) {
    std::string text;
    for (const auto& [cause, count] : causes) {
        text += "<br>" + vel::escapedForXML(cause) + ": " + std::to_string(count);
    }
    return text;
}

/// One line with a bar: what it is of, and counts with the names of their kinds.
std::string barLine(const std::string& title, std::size_t whole,
                    std::initializer_list<std::pair<const char*, std::size_t>> counts,
                    const std::map<std::string, std::size_t>& causes = {}) {
    std::string bar;
    std::string text;
    for (const auto& [name, count] : counts) {
        if (count > 0) {
            bar += "<span class=\"" + std::string(name) +
                   "\" style=\"width:" + percentage(count, whole) + "\"></span>";
        }
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + name;
    }
    return "<div class=\"check\"><div class=\"type\">" + vel::escapedForXML(title) +
           "</div><div class=\"bar\" role=\"img\" aria-label=\"" + text + "\">" + bar +
           "</div><div class=\"counts\">" + text + textOf(causes) + "</div></div>\n";
}

std::string section(const std::string& title, const Counts& counts, std::size_t machines) {
    std::string html =
        "<h2>" + title + "</h2>\n" +
        barLine("Verdict", machines, {{"pass", counts.passed}, {"fail", machines - counts.passed}});
    for (const WhatIfSummary::Check& check : counts.checks) {
        html += barLine(check.type, machines,
                        {{"pass", check.count(Kind::pass)},
                         {"fail", check.count(Kind::fail)},
                         {"error", check.count(Kind::error)}},
                        check.causes);
    }
    return html;
}

std::string namesOf(const std::string& title, const Change& change) {
    std::string html = "<h2>" + title + ": " + std::to_string(change.count) + "</h2>\n";
    if (change.count > 0) {
        html += "<ul class=\"names\">\n";
        for (const std::string& name : change.names) {
            html += "<li>" + vel::escapedForXML(name) + "</li>\n";
        }
        html += "</ul>\n";
    }
    if (change.count > change.names.size()) {
        html += "<p>and " + std::to_string(change.count - change.names.size()) + " more</p>\n";
    }
    return html;
}

} // namespace

std::string summaryHTML(const WhatIfSummary& summary) {
    std::string html(head);
    html += "<p>" + countOf(summary.machines(), "machine", "machines");
    if (summary.badLines() > 0) {
        html += "; " + countOf(summary.badLines(), "line is", "lines are") +
                " no machine description and not counted";
    }
    html += "</p>\n" + section("Request", summary.now(), summary.machines());
    if (summary.compares()) {
        html += section("Old request", summary.old(), summary.machines()) +
                namesOf("Fails now", summary.failsNow()) +
                namesOf("Passes now", summary.passesNow());
    }
    return html + "</body>\n</html>\n";
}
