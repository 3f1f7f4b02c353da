// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/RecordingLogger.h"

#include <ostream>
#include <utility>

bool operator==(const LogLine& left, const LogLine& right) {
    return left.level == right.level && left.message == right.message &&
           left.function == right.function;
}

std::ostream& operator<<(std::ostream& stream, const LogLine& logged) {
    return stream << "{" << logged.level << ", \"" << logged.message << "\", \"" << logged.function
                  << "\", " << logged.file << ":" << logged.line << "}";
}

void RecordingLogger::logMessage(std::string_view message, std::int64_t level, const char* file,
                                 const char* function, std::int32_t line) noexcept {
    const std::scoped_lock lock(_mutex);
    _lines.push_back({level, std::string(message), function, file, line});
}

std::vector<LogLine> RecordingLogger::take() {
    const std::scoped_lock lock(_mutex);
    return std::exchange(_lines, {});
}
