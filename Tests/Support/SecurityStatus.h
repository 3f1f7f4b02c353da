// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELSecurityStatus.h"

#include <ostream>

// Statuses in tests are written as their integers.

constexpr bool operator==(VELSecurityStatus status, std::int32_t integer) {
    return vel::integerOfStatus(status) == integer;
}

inline std::ostream& operator<<(std::ostream& stream, VELSecurityStatus status) {
    return stream << vel::integerOfStatus(status);
}
