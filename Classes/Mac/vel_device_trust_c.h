// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELPostureCheckRunner.h"
#include "vel_device_trust/vel_device_trust_c.h"

#include <memory>

/// The runner of the C interface, opaque to hosts.
struct vel_runner {
    std::unique_ptr<const VELPostureCheckRunner> runner;
};
