// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/check/CheckOutcome.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

/// What a check has to come to.
struct ExpectedOutcome {
    CheckOutcome::Kind kind = CheckOutcome::Kind::pass;
    /// The text of an error. Absent: any.
    std::optional<std::string> error;
};

/// A machine and what a request has to come to on it.
struct ExpectedMachine {
    /// What reports call it: its path, else its own name, else its place.
    std::string name;
    VELValue description;
    bool passes = false;
    /// One for each entry of the request. Absent: the verdict counts alone.
    std::optional<std::vector<ExpectedOutcome>> checks;
};

/// A file that says what a request has to come to on machines. Its own paths are relative to it:
///
///     {"request": "request.json",
///      "machines": [
///        {"machine": "compliant.json", "pass": true},
///        {"machine": {"productVersion": "12.6"}, "pass": false,
///         "checks": {"minimumOSVersion": "fail", "localFirewall": {"error": "Error getting ..."}}}
///      ]}
///
/// A request and a machine are a path or the document itself. "checks" names what does not pass, by
/// the type of the check; where the request has a type several times, a list has an outcome for
/// each. Checks that it does not name have to pass.
struct PolicyTest {
    std::string requestName;
    std::string request;
    std::vector<VELValue> machines;
};

/// Reads the file. Throws `ProgramFailure`, which names the file and what is wrong where.
PolicyTest policyTestOfFile(const std::string& path);

/// Reads the machine at `index` of the test in the file `path`. `types` are those of the request's
/// entries. Throws as above.
ExpectedMachine expectedMachine(const std::string& path, const PolicyTest& test, std::size_t index,
                                const std::vector<std::string>& types);
