// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <sys/wait.h>

/// What another program says, and how it ended.
struct OracleAnswer {
    int status; // exit status, -1 if a signal ended it
    std::string output;
};

/// Runs a shell command whose standard output is what a test compares with.
inline OracleAnswer askOracle(const std::string& command) {
    std::FILE* pipe = ::popen(command.c_str(), "re");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    OracleAnswer answer{};
    std::array<char, 4096> buffer{};
    for (std::size_t count = 0; (count = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;) {
        answer.output.append(buffer.data(), count);
    }
    const int status = ::pclose(pipe);
    answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return answer;
}
