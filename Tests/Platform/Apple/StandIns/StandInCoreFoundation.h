// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

namespace standin {

/// An integer beyond those of 64 bits with sign, as a property list may hold one. No public call
/// makes it.
CFNumberRef makeLargeNumber(std::uint64_t value);

} // namespace standin
