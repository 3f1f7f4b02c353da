// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/explain/Evidence.h"

#include <string>

/// The code of the evidence that `explain` gives, alone. It costs less: what a check has read to
/// pass is not read again.
std::string evidenceCode(const VELDictionary& entry, CheckOutcome::Kind outcome,
                         const std::string& error, std::span<const VELRecordedAnswer> answers);
