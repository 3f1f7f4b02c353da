// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELSecurityStatus.h"

#include <ostream>
#include <string>

// Statuses in tests are written as their integers.

constexpr bool operator==(VELSecurityStatus status, std::int32_t integer) {
    return vel::integerOfStatus(status) == integer;
}

/// A certificate's name as in the texts of errors.
inline std::string quoted(const std::string& name) {
    return "\u201C" + name + "\u201D";
}

inline std::ostream& operator<<(std::ostream& stream, VELSecurityStatus status) {
    return stream << vel::integerOfStatus(status);
}
