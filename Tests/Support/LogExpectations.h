// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Support/LogStatement.h"
#include "Tests/Support/RecordingLogger.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

/// A message that a test expects, and the format in the source that it is made from.
struct ExpectedLogLine {
    std::int64_t level;
    std::string message;
    std::string function;
    std::string file;
    std::string format;
};

/// Expects exactly these messages in this order, each logged from where it says.
inline void expectLogged(const std::vector<LogLine>& logged,
                         const std::vector<ExpectedLogLine>& expected) {
    std::vector<LogLine> lines;
    for (const ExpectedLogLine& line : expected) {
        lines.push_back({line.level, line.message, line.function});
    }
    EXPECT_EQ(logged, lines);
    for (std::size_t index = 0; index < logged.size() && index < expected.size(); ++index) {
        EXPECT_EQ(logged[index].file, expected[index].file) << logged[index];
        EXPECT_TRUE(standsWhereItSays(logged[index], expected[index].format));
    }
}

/// The lines that the engine itself logs.
namespace logged {

inline constexpr const char* runnerFile = "Classes/Shared/VELPostureCheckRunner.cpp";

inline ExpectedLogLine input(const std::string& request) {
    return {1, "Input JSON " + request,
            "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]", runnerFile,
            "Input JSON %@"};
}

inline ExpectedLogLine start(const std::string& type, const std::string& entry) {
    return {1, "Starting check with checkType: " + type + " and params: " + entry,
            "-[VELPostureCheckRunner runCheck:checkParams:error:]", runnerFile,
            "Starting check with checkType: %@ and params: %@"};
}

inline ExpectedLogLine output(const std::string& result) {
    return {1, "Output JSON " + result,
            "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]", runnerFile,
            "Output JSON %@"};
}

inline ExpectedLogLine raised(const std::string& text) {
    return {3, "Error: " + text, "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]",
            runnerFile, "Error: %@"};
}

inline ExpectedLogLine errorResult(const std::string& text) {
    return {3, "Error: " + text, "-[VELPostureCheckRunner errorResult:]", runnerFile, "Error: %@"};
}

/// `message` as it stands inside of a JSON string.
inline ExpectedLogLine checkError(std::int64_t code, const std::string& message) {
    return {3,
            "Error: Error Domain=com.vel.posturecheck Code=" + std::to_string(code) +
                R"( UserInfo={"com.vel.posturecheck.unlocalized-description":")" + message + "\"}",
            "SetPostureCheckError", "Classes/Shared/VELPostureCheckErrors.cpp", "Error: %@"};
}

} // namespace logged
