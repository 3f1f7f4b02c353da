// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "Platform/VELTask.h"
#include "vel_device_trust/VELError.h"

#include <memory>
#include <optional>
#include <string>

/// How long every check of the library lets a tool run, in seconds.
inline constexpr double toolTimeout = 10.0;

/// Runs `task`, a new one, and returns its output; nullopt on failure:
/// - it cannot be launched: error code 2;
/// - it ends with a status other than 0, or is ended by the time-out: error code 3; its output is
///   lost;
/// - its output is not valid UTF-8, or a process it left behind still holds the output at the
///   time-out: no error.
/// The output is read only after the tool has exited: one that writes more than a pipe holds blocks
/// until the time-out ends it. `error` is written only on failure.
std::optional<std::string> runWithTimeout(const std::shared_ptr<VELTask>& task, double timeout,
                                          std::optional<VELError>* error,
                                          const VELPlatform& platform);

/// Returns once the launched `task` has exited. When `timeout` seconds have passed it is asked to
/// end, once and no harder: a tool that ignores that keeps the caller waiting. Without a worker
/// thread or memory for the time-out it is asked at once.
void waitUntilExitWithTimeout(const std::shared_ptr<VELTask>& task, double timeout,
                              const VELPlatform& platform);
