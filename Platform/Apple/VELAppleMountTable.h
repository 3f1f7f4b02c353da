// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELDiskArbitration.h"

#include <optional>
#include <vector>

namespace vel {

/// The mounted file systems of this Mac. The system reports a failure as an empty table; absent: it
/// reported one as such. Each file system is asked, so that a network volume whose server is gone
/// keeps the caller waiting.
std::optional<std::vector<VELMount>> appleMountTable();

} // namespace vel
