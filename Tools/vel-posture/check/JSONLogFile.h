// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"
#include "vel_device_trust/VELHostLogger.h"

#include <mutex>
#include <string>

/// Writes messages as lines of JSON, at once:
///
///     {"level":1,"message":"...","file":"...","function":"...","line":12,"time":"...","run":"..."}
///
/// "time" is in UTC with milliseconds, "run" an identifier of the run: several programs may append
/// to one file. A write that fails is remembered, and nothing is written after it.
class JSONLogFile final : public VELHostLogger {
public:
    /// Opens `path` and appends to what it holds; a new file can be read by its owner alone. "-" is
    /// standard error. Messages below `leastLevel` are left out. Throws `ProgramFailure` when it
    /// cannot be opened.
    JSONLogFile(std::string path, std::string run, std::int64_t leastLevel);

    void logMessage(std::string_view message, std::int64_t level, const char* file,
                    const char* function, std::int32_t line) noexcept override;

    /// Whether the lines go to standard error.
    [[nodiscard]] bool isStandardError() const noexcept;

    /// Why lines are missing, for people: 'cannot write the log "x": No space left on device'.
    /// Empty if none is.
    [[nodiscard]] std::string failure() const;

private:
    [[nodiscard]] int descriptor() const noexcept;

    std::string _path;
    std::string _run;
    std::int64_t _leastLevel;
    VELDescriptor _file; // none: the lines go to standard error
    bool _isTerminal;
    mutable std::mutex _mutex;
    int _errorNumber = 0;
};
