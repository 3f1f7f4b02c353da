// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/RequestSource.h"

#include "Tools/vel-posture/StandardStreams.h"

#include <unistd.h>

namespace {

bool isStandardInput(const std::optional<std::string>& path) {
    return !path || *path == "-";
}

} // namespace

std::string readRequest(const std::optional<std::string>& path) {
    if (!isStandardInput(path)) {
        return readFile(*path);
    }
    if (isTerminal(STDIN_FILENO)) {
        diagnose("reading a request from standard input (end it with Ctrl-D)");
    }
    return readStandardInput();
}

std::string nameOfRequest(const std::optional<std::string>& path) {
    return isStandardInput(path) ? "standard input" : "\"" + *path + "\"";
}
