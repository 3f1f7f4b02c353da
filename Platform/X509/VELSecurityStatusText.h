// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELSecurityStatus.h"

#include <string>

namespace vel::security {

/// The readable text of a status: its own, "UNIX[...]" with the text of an error number, or
/// "OSStatus <n>" for a status that is not known.
std::string textOfStatus(VELSecurityStatus status);

} // namespace vel::security
