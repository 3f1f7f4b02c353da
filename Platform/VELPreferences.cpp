// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPreferences.h"

#include <nlohmann/json.hpp>

#include <limits>

VELPreferences::IntegerValue VELPreferences::integerValue(const VELValue* value) {
    if (value == nullptr || !value->is_number_integer()) {
        return {0, false};
    }
    const bool fits =
        !value->is_number_unsigned() ||
        value->get<std::uint64_t>() <= std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    return fits ? IntegerValue{value->get<std::int64_t>(), true} : IntegerValue{0, false};
}
