// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/LogExpectations.h"

void expectLogged(const std::vector<LogLine>& logged,
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

namespace logged {

ExpectedLogLine input(const std::string& request) {
    return {1, "Input JSON " + request,
            "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]", runnerFile,
            "Input JSON %@"};
}

ExpectedLogLine start(const std::string& type, const std::string& entry) {
    return {1, "Starting check with checkType: " + type + " and params: " + entry,
            "-[VELPostureCheckRunner runCheck:checkParams:error:]", runnerFile,
            "Starting check with checkType: %@ and params: %@"};
}

ExpectedLogLine output(const std::string& result) {
    return {1, "Output JSON " + result,
            "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]", runnerFile,
            "Output JSON %@"};
}

ExpectedLogLine raised(const std::string& text) {
    return {3, "Error: " + text, "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]",
            runnerFile, "Error: %@"};
}

ExpectedLogLine errorResult(const std::string& text) {
    return {3, "Error: " + text, "-[VELPostureCheckRunner errorResult:]", runnerFile, "Error: %@"};
}

ExpectedLogLine checkError(std::int64_t code, const std::string& message) {
    return {3,
            "Error: Error Domain=com.vel.posturecheck Code=" + std::to_string(code) +
                R"( UserInfo={"com.vel.posturecheck.unlocalized-description":")" + message + "\"}",
            "SetPostureCheckError", "Classes/Shared/VELPostureCheckErrors.cpp", "Error: %@"};
}

} // namespace logged
