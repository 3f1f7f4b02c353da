// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"
#include "vel_device_trust/VELHostLogger.h"

#include <mutex>
#include <string>

/// Writes every message as a line of JSON, at once:
///
///     {"level":1,"message":"...","file":"...","function":"...","line":12}
///
/// A write that fails is remembered, and nothing is written after it.
class JSONLogFile final : public VELHostLogger {
public:
    /// Opens `path` and appends to what it holds; a new file can be read by its owner alone. "-" is
    /// standard error. Throws `ProgramFailure` when it cannot be opened.
    explicit JSONLogFile(std::string path);

    void logMessage(std::string_view message, std::int64_t level, const char* file,
                    const char* function, std::int32_t line) noexcept override;

    /// Whether the lines go to standard error.
    [[nodiscard]] bool isStandardError() const noexcept;

    /// Why lines are missing, for people: 'cannot write the log "x": No space left on device'.
    /// Empty: none is.
    [[nodiscard]] std::string failure() const;

private:
    [[nodiscard]] int descriptor() const noexcept;

    std::string _path;
    VELDescriptor _file; // none: the lines go to standard error
    bool _isTerminal;
    mutable std::mutex _mutex;
    int _errorNumber = 0;
};
