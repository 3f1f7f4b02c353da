// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace standin {

__extension__ using WideInteger = __int128;

/// An integer beyond those of 64 bits with sign, as a property list may hold one. No public call
/// makes it.
CFNumberRef makeLargeNumber(WideInteger value);

} // namespace standin
