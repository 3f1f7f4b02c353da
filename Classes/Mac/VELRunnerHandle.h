// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELPostureCheckRunner.h"
#include "vel_device_trust/vel_device_trust_c.h"

#include <memory>
#include <string_view>

/// The runner of the C interface, opaque to hosts.
struct vel_runner {
    std::unique_ptr<const VELPostureCheckRunner> runner;
};

/// A logger that calls the host's function; null if that is null. `release` is called for `context`
/// when the logger is gone: at once if there is none, or no memory for one.
std::shared_ptr<VELHostLogger> callbackLogger(vel_log_function log, void* context,
                                              vel_release_function release);

/// A NUL-terminated copy of `text`, to be freed by `vel_result_free`; null if there is no memory.
char* copyForHost(std::string_view text) noexcept;
