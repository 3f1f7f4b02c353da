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
void expectLogged(const std::vector<LogLine>& logged, const std::vector<ExpectedLogLine>& expected);

/// The lines that the engine itself logs.
namespace logged {

inline constexpr const char* runnerFile = "Classes/Shared/VELPostureCheckRunner.cpp";

ExpectedLogLine input(const std::string& request);
ExpectedLogLine start(const std::string& type, const std::string& entry);
ExpectedLogLine output(const std::string& result);
ExpectedLogLine raised(const std::string& text);
ExpectedLogLine errorResult(const std::string& text);

/// `message` as it stands inside of a JSON string.
ExpectedLogLine checkError(std::int64_t code, const std::string& message);

} // namespace logged
