// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/explain/Evidence.h"
#include "vel_device_trust/VELValue.h"

#include <string>
#include <vector>

/// A result document as a report for people, in whole lines of UTF-8: for a device-trust result a
/// line per check and the verdict, for an identity result a line per value, for an error result its
/// text. Control and format characters in the result are escaped. `request` is what was answered,
/// or null. With `onlyFailing` the lines of checks that passed are left out. `evidence`, if there
/// is any, has the reason of each check, which stands below it.
std::string resultReport(const VELValue& result, const VELValue& request, const ReportStyle& style,
                         bool onlyFailing = false, const std::vector<Evidence>& evidence = {});
