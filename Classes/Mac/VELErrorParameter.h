// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"

#include <optional>

namespace vel {

/// Clears an error out-parameter, which may be null.
inline void clearError(std::optional<VELError>* error) {
    if (error != nullptr) {
        error->reset();
    }
}

} // namespace vel
