// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELProcessLister.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <unistd.h>

namespace {

constexpr int failed = 1;
constexpr int tooLong = 3;

int fail(int status, const char* code, const std::string& problem, bool asksWhy) {
    if (asksWhy) {
        return vel::sayWhy(code, problem);
    }
    vel::diagnose("process-listing", problem);
    return status;
}

int printListing(const vel::ToolValues& values) {
    const bool asksWhy = vel::isAskedWhy(values);
    const std::string folder = vel::valueOr(values, "--proc", "/proc");
    const auto listing = vel::processListing(folder);
    if (!listing) {
        return fail(failed, "no-process-visible", "no process is visible in " + folder, asksWhy);
    }
    // The host reads when this program has ended, which it would not do with a full pipe.
    if (!vel::fitsPipe(STDOUT_FILENO, listing->size())) {
        return fail(tooLong, "listing-too-long",
                    "a listing of " + std::to_string(listing->size()) +
                        " bytes does not fit the pipe",
                    asksWhy);
    }
    if (asksWhy) {
        return vel::sayWhy(vel::answerIsKnown, "the processes can be listed");
    }
    return vel::writeAll(STDOUT_FILENO, *listing) == 0 ? 0 : failed;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "process-listing",
        .purpose = "Lists the running processes, a line each: process ID first, name last.",
        .arguments = {"-axc"},
        .options = {{"--proc", "The folder to read instead of /proc"}},
        .saysWhy = true,
    };
    return vel::runTool(usage, argumentCount, arguments, &printListing);
}
