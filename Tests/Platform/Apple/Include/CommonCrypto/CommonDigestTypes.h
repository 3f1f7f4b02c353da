// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// NOLINTBEGIN

using CC_LONG = std::uint32_t;

#define CC_SHA1_DIGEST_LENGTH 20

// NOLINTEND
