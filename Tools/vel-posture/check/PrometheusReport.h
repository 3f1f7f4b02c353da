// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/check/RequestRun.h"

#include <string>
#include <vector>

/// Results as Prometheus text, for the textfile collector of the node exporter. Every sample has
/// the label "request"; those of checks also "entry" (the place in the request, from 0), "type" and
/// "id" (what tells the entry from others).
///
///     vel_posture_error                   1 for an error result, else 0
///     vel_posture_pass                    the verdict of a device-trust request: 1 or 0
///     vel_posture_duration_seconds        of a whole device-trust request
///     vel_posture_check_outcome           1 for the outcome ("pass", "fail", "error"), else 0
///     vel_posture_check_duration_seconds  of one check
///     vel_posture_run_timestamp_seconds   when the run started, since 1970
std::string prometheusReport(const std::vector<RequestRun>& runs);
