// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/explain/Evidence.h"

#include <string>

/// The code of the evidence that `explain` gives, alone. It costs less: of a check that passed,
/// what it asked mostly tells the code, and no answer is read again.
std::string evidenceCode(const VELDictionary& entry, CheckOutcome::Kind outcome,
                         const std::string& error, std::span<const VELRecordedAnswer> answers);
