// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "Tools/vel-posture/check/CheckOutcome.h"
#include "Tools/vel-posture/explain/Evidence.h"

#include <memory>

/// What an entry of a request yields, and why.
struct ExplainedEntry {
    CheckOutcome::Kind outcome;
    Evidence evidence;
};

/// Runs one entry on a platform and explains it. Switches the log of the process off.
ExplainedEntry runExplained(const VELDictionary& entry,
                            std::shared_ptr<const VELPlatform> platform);
