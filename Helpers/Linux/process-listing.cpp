// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELProcessLister.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <unistd.h>

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "process-listing",
        .purpose = "Lists the running processes, a line each: process ID first, name last.",
        .arguments = {"-axc"},
        .options = {{"--proc", "The folder to read instead of /proc"}},
    };
    return vel::runTool(usage, argumentCount, arguments, [](const vel::ToolValues& values) {
        const std::string folder = vel::valueOr(values, "--proc", "/proc");
        const auto listing = vel::processListing(folder);
        if (!listing) {
            vel::writeAll(STDERR_FILENO,
                          "process-listing: no process is visible in " + folder + "\n");
            return 1;
        }
        return vel::writeAll(STDOUT_FILENO, *listing) == 0 ? 0 : 1;
    });
}
