// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELPostureCheckRunner.h"
#include "vel_device_trust/VELValue.h"

#include <cstddef>
#include <optional>
#include <string>

/// How a report for people looks.
struct ReportStyle {
    /// The width of the terminal, to which lines are wrapped. Absent: no terminal, every line is
    /// as long as it needs to be.
    std::optional<std::size_t> columns;
    bool colour = false;
};

/// A result document as a report for people, in whole lines of UTF-8: for a device-trust result a
/// line per check and the verdict, for an identity result a line per value, for an error result its
/// text. Whatever the result holds, nothing in the report but its own colours steers a terminal.
std::string resultReport(const VELValue& result, const ReportStyle& style);

/// The exit status that stands for a result: 0 passed or answered, 1 did not pass, 2 an error
/// result.
int exitStatus(const VELValue& result);

/// Whether `result` is a device-trust result without checks.
bool ranNoCheck(const VELValue& result);

/// The check types of a catalogue with the parameters that they require, a line per type.
std::string catalogueReport(const VELPostureCheckCatalogue& catalogue, const ReportStyle& style);

/// The same as compact JSON: {"minimumOSVersion":["version"],...}.
std::string catalogueJSON(const VELPostureCheckCatalogue& catalogue);
