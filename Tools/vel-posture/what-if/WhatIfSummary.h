// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/what-if/WhatIf.h"

#include <array>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

/// Counts what a request came to on many Macs. Memory does not grow with their number.
class WhatIfSummary {
public:
    /// How many machines are named of those whose verdict changes in the same way.
    static constexpr std::size_t mostNames = 1000;

    /// Of one entry of a request.
    struct Check {
        std::string type;
        /// Indexed by `CheckOutcome::Kind`.
        std::array<std::size_t, 3> outcomes{};
        /// How often each cause kept it from passing, by the code of its evidence.
        std::map<std::string, std::size_t> causes;

        [[nodiscard]] std::size_t count(CheckOutcome::Kind kind) const {
            return outcomes.at(static_cast<std::size_t>(kind));
        }
    };

    /// Of a whole request.
    struct Counts {
        std::size_t passed = 0;
        std::vector<Check> checks;
    };

    /// Machines whose verdict changes in one way.
    struct Change {
        std::size_t count = 0;
        /// Of the first ones, shortened; "line 3" for a machine that has none.
        std::vector<std::string> names;
    };

    explicit WhatIfSummary(const WhatIf& whatIf);

    /// Adds the answer of the line `number`.
    void add(const MachineAnswer& answer, std::size_t number);

    [[nodiscard]] std::size_t machines() const { return _machines; }
    [[nodiscard]] std::size_t badLines() const { return _badLines; }
    [[nodiscard]] const Counts& now() const { return _now; }
    /// Nothing is counted where there is no old request.
    [[nodiscard]] const Counts& old() const { return _old; }
    [[nodiscard]] bool compares() const { return _compares; }
    [[nodiscard]] const Change& failsNow() const { return _failsNow; }
    [[nodiscard]] const Change& passesNow() const { return _passesNow; }

private:
    std::size_t _machines = 0;
    std::size_t _badLines = 0;
    bool _compares;
    Counts _now;
    Counts _old;
    Change _failsNow;
    Change _passesNow;
};

/// A report for people, in whole lines.
std::string summaryText(const WhatIfSummary& summary, const ReportStyle& style);

/// As a JSON document, without an end of line.
std::string summaryJSON(const WhatIfSummary& summary);

/// As one HTML page with bars, which loads nothing and has no scripts.
std::string summaryHTML(const WhatIfSummary& summary);
