// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/ReportText.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <string>

/// The check types of a catalogue with the parameters that they require, a line per type.
std::string catalogueReport(const VELPostureCheckCatalogue& catalogue, const ReportStyle& style);

/// The same as compact JSON: {"minimumOSVersion":["version"],...}.
std::string catalogueJSON(const VELPostureCheckCatalogue& catalogue);
