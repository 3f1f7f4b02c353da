// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/what-if/WhatIfSummary.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"

#include <nlohmann/json.hpp>

namespace {

using Kind = CheckOutcome::Kind;
using Counts = WhatIfSummary::Counts;
using Change = WhatIfSummary::Change;

constexpr std::size_t widestMachineName = 80;

Counts countsFor(const Trial* trial) {
    Counts counts;
    if (trial != nullptr) {
        for (const std::string& type : trial->types()) {
            counts.checks.push_back({type, {}, {}});
        }
    }
    return counts;
}

void addTo(Counts& counts, const TriedRequest& tried) {
    counts.passed += tried.passes ? 1U : 0U;
    for (std::size_t index = 0; index < tried.checks.size(); ++index) {
        const TriedCheck& check = tried.checks[index];
        ++counts.checks[index].outcomes.at(static_cast<std::size_t>(check.outcome));
        if (check.outcome != Kind::pass) {
            ++counts.checks[index].causes[check.evidence.code];
        }
    }
}

void addTo(Change& change, const MachineAnswer& answer, std::size_t number) {
    ++change.count;
    if (change.names.size() < WhatIfSummary::mostNames) {
        change.names.push_back(answer.name ? truncated(printable(*answer.name), widestMachineName)
                                           : "line " + std::to_string(number));
    }
}

VELValue valueOf(const Counts& counts) {
    VELArray checks = VELValue::array();
    for (const WhatIfSummary::Check& check : counts.checks) {
        VELDictionary& value = checks.emplace_back(VELValue::object());
        value["type"] = check.type;
        for (const Kind kind : {Kind::pass, Kind::fail, Kind::error}) {
            value[nameOf(kind)] = check.count(kind);
        }
        value["evidence"] = check.causes;
    }
    return {{"passed", counts.passed}, {"checks", std::move(checks)}};
}

VELValue valueOf(const Change& change) {
    return {{"count", change.count}, {"names", change.names}};
}

void addChecks(std::string& report, const Counts& counts, const ReportStyle& style) {
    const std::size_t columns =
        columnsOfNames(counts.checks, 0, [](const auto& check) { return check.type; });
    for (const WhatIfSummary::Check& check : counts.checks) {
        report += std::string(columnGap) + padded(truncated(check.type, columns), columns);
        const auto add = [&](Kind kind, Colour colour) {
            const std::size_t count = check.count(kind);
            report += std::string(columnGap) + coloured(std::to_string(count) + " " + nameOf(kind),
                                                        count == 0 ? Colour::none : colour, style);
        };
        add(Kind::pass, Colour::none);
        add(Kind::fail, Colour::red);
        add(Kind::error, Colour::yellow);
        endLine(report);
        for (const auto& [cause, count] : check.causes) {
            report += std::string(2 * columnGap.size(), ' ') + cause + ": " +
                      std::to_string(count) + "\n";
        }
    }
}

void addChange(std::string& report, const char* title, const Change& change,
               const ReportStyle& style) {
    if (change.count == 0) {
        return;
    }
    report += title + std::string(" (") + std::to_string(change.count) + "): ";
    std::vector<std::string> names = change.names;
    if (change.count > names.size()) {
        names.push_back("and " + std::to_string(change.count - names.size()) + " more");
    }
    addList(report, names, columnGap.size(), style);
    endLine(report);
}

} // namespace

WhatIfSummary::WhatIfSummary(const WhatIf& whatIf)
    : _compares(whatIf.old() != nullptr), _now(countsFor(&whatIf.request())),
      _old(countsFor(whatIf.old())) {}

void WhatIfSummary::add(const MachineAnswer& answer, std::size_t number) {
    if (answer.failure) {
        ++_badLines;
        return;
    }
    ++_machines;
    addTo(_now, answer.tried);
    if (answer.old) {
        addTo(_old, *answer.old);
        if (answer.old->passes != answer.tried.passes) {
            addTo(answer.tried.passes ? _passesNow : _failsNow, answer, number);
        }
    }
}

std::string summaryText(const WhatIfSummary& summary, const ReportStyle& style) {
    const auto heading = [&](const Counts& counts) {
        return std::to_string(counts.passed) + " of " +
               countOf(summary.machines(), "machine", "machines");
    };
    std::string report = heading(summary.now()) + " passed\n";
    addChecks(report, summary.now(), style);
    if (summary.compares()) {
        report += "Old request: " + heading(summary.old()) + " passed\n";
        addChecks(report, summary.old(), style);
        addChange(report, "Fails now", summary.failsNow(), style);
        addChange(report, "Passes now", summary.passesNow(), style);
        if (summary.failsNow().count + summary.passesNow().count == 0) {
            report += "No verdict changes\n";
        }
    }
    if (summary.badLines() > 0) {
        report += countOf(summary.badLines(), "line is", "lines are") + " no machine description\n";
    }
    return report;
}

std::string summaryJSON(const WhatIfSummary& summary) {
    VELDictionary value = valueOf(summary.now());
    value["machines"] = summary.machines();
    value["badLines"] = summary.badLines();
    if (summary.compares()) {
        value["old"] = valueOf(summary.old());
        value["failsNow"] = valueOf(summary.failsNow());
        value["passesNow"] = valueOf(summary.passesNow());
    }
    return vel::compactText(value);
}
