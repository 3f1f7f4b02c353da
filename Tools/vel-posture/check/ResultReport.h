// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "vel_device_trust/VELValue.h"

#include <string>

/// A result document as a report for people, in whole lines of UTF-8: for a device-trust result a
/// line per check and the verdict, for an identity result a line per value, for an error result its
/// text. Control and format characters in the result are escaped.
std::string resultReport(const VELValue& result, const ReportStyle& style);

/// The exit status that stands for a result: 0 passed or answered, 1 did not pass, 2 an error
/// result.
int exitStatus(const VELValue& result);

/// Whether `result` is a device-trust result without checks.
bool ranNoCheck(const VELValue& result);
