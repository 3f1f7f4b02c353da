// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELTokenContents.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace {

int printContents(const std::string& module) {
    // What a module prints is no part of the contents, and what it leaves running must not keep the
    // reader waiting for their end.
    const VELDescriptor output(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (!output || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        return 1;
    }
    return vel::writeAll(output.get(), vel::tokenContents(module)) == 0 ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "keychain-contents",
        .purpose = "Prints the certificates on the PKCS#11 tokens of this machine, in base64, and\n"
                   "which of them have their private key beside. Asks for no PIN.",
        .arguments = {},
        .options = {{"--module", "The path of the one module to ask"},
                    {"--seconds", "How long the modules may take; 8 when it is not given"}},
    };
    return vel::runTool(usage, argumentCount, arguments, [](const vel::ToolValues& values) {
        const int seconds = std::atoi(vel::valueOr(values, "--seconds", "8").c_str());
        return vel::runConfined(seconds > 0 ? static_cast<unsigned>(seconds) : 1, printContents,
                                vel::valueOr(values, "--module", ""));
    });
}
