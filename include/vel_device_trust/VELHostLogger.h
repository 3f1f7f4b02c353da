// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELExport.h"

#include <cstdint>
#include <string_view>

/// Levels of log messages. The library never filters by level: the host decides what to show.
namespace VELLogLevel {
/// One line per item inside a loop over many items.
inline constexpr std::int64_t trace = 0;
/// Inputs and outputs of a request, the start of each check, values read from the system.
inline constexpr std::int64_t information = 1;
/// Something suspicious that does not stop the check.
inline constexpr std::int64_t warning = 2;
/// A failure to carry out work.
inline constexpr std::int64_t error = 3;
} // namespace VELLogLevel

/// What a host implements to receive the library's diagnostics.
class VEL_EXPORT VELHostLogger {
public:
    VELHostLogger() = default;
    VELHostLogger(const VELHostLogger&) = delete;
    VELHostLogger& operator=(const VELHostLogger&) = delete;
    virtual ~VELHostLogger();

    /// Called for every message, on the thread that runs the request: on several threads at once
    /// if the host runs requests on several threads. It may create runners and run requests.
    ///
    /// - `message`: the formatted text, always valid UTF-8; not NUL-terminated. Copy it to keep it.
    /// - `level`: one of VELLogLevel.
    /// - `file`: the library's source file, relative to its source tree. Lives as long as the
    ///   library.
    /// - `function`: the calling operation's printable name, such as
    ///   "-[VELPostureCheckRunner runCheck:checkParams:error:]". Lives as long as the library.
    /// - `line`: the calling source line, from 1.
    ///
    /// `file`, `function` and `line` are for display only.
    virtual void logMessage(std::string_view message, std::int64_t level, const char* file,
                            const char* function, std::int32_t line) noexcept = 0;
};
