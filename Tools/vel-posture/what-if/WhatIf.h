// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/trial/Trial.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// What became of one line with a machine description.
struct MachineAnswer {
    /// Why the line is no machine description; the rest does not count then.
    std::optional<std::string> failure;
    /// The machine's name. Absent: it has none.
    std::optional<std::string> name;
    TriedRequest tried;
    /// What the old request comes to. Absent: there is none to compare with.
    std::optional<TriedRequest> old;

    [[nodiscard]] bool passes() const { return !failure && tried.passes; }
};

/// A request, and perhaps the one that it is to replace, tried on described Macs one by one.
class WhatIf {
public:
    explicit WhatIf(Trial request, std::optional<Trial> old = std::nullopt)
        : _request(std::move(request)), _old(std::move(old)) {}

    /// Tries a line: a machine description in JSON.
    [[nodiscard]] MachineAnswer answer(std::string_view line) const;

    /// The answer as a JSON object, without an end of line:
    ///
    ///     {"checks":[{"evidence":"version-too-old","outcome":"fail","type":"minimumOSVersion"},...],
    ///      "name":"a laptop","pass":false}
    ///
    /// "evidence" is the code of the cause. A check that is an error has its text under "error", a
    /// Mac without a name the name null. With an old request there is also what that one comes to,
    /// "old":{"checks":[...], "pass":true}, and "change": "fails now", "passes now" or null. A line
    /// that is no description is {"error":"...","line":3}; `number` counts lines from 1.
    [[nodiscard]] std::string text(const MachineAnswer& answer, std::size_t number) const;

    [[nodiscard]] const Trial& request() const { return _request; }
    /// Null: there is none.
    [[nodiscard]] const Trial* old() const { return _old ? &*_old : nullptr; }

private:
    Trial _request;
    std::optional<Trial> _old;
};
