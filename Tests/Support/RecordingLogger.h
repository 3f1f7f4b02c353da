// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELHostLogger.h"

#include <cstdint>
#include <iosfwd>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

/// One message as the host's logger got it.
struct LogLine {
    std::int64_t level;
    std::string message;
    std::string function;
    std::string file = {};
    std::int32_t line = 0;

    /// Compares what a test names: level, message and function. Where it stands is checked apart.
    friend bool operator==(const LogLine& left, const LogLine& right);
    friend std::ostream& operator<<(std::ostream& stream, const LogLine& logged);
};

/// A host logger that keeps every message. Safe on several threads.
class RecordingLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t level, const char* file,
                    const char* function, std::int32_t line) noexcept override;

    /// What was logged so far, and forgets it.
    std::vector<LogLine> take();

private:
    std::mutex _mutex;
    std::vector<LogLine> _lines;
};
