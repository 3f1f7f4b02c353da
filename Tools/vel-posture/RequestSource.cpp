// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/RequestSource.h"

#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/StandardStreams.h"

#include <unistd.h>

#include <algorithm>

namespace {
constexpr const char* standardInput = "-";
}

std::string readRequest(const std::string& path) {
    if (path != standardInput) {
        return readFile(path);
    }
    if (isTerminal(STDIN_FILENO)) {
        diagnose("reading a request from standard input (end it with Ctrl-D)");
    }
    return readStandardInput();
}

std::string nameOfRequest(const std::string& path) {
    return path == standardInput ? "standard input" : path;
}

std::vector<std::string> requestPaths(std::vector<std::string> paths) {
    if (paths.empty()) {
        return {standardInput};
    }
    if (std::count(paths.begin(), paths.end(), standardInput) > 1) {
        throw ProgramFailure("standard input can be read only once");
    }
    return paths;
}
