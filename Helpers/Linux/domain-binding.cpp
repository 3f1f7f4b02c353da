// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDomainBinding.h"
#include "Helpers/Linux/VELSystemBus.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <unistd.h>

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "domain-binding",
        .purpose =
            "Prints the Active Directory domain that this machine has joined, in a property\n"
            "list. Prints nothing when it has joined none or that cannot be known.",
        .arguments = {"-show", "-xml"},
        .options = {{"--bus", "The address of the system bus"}},
        .saysWhy = true,
        .failureStatus = 0,
    };
    return vel::runTool(usage, argumentCount, arguments, [](const vel::ToolValues& values) {
        const std::string bus = vel::valueOr(values, "--bus", vel::systemBusAddress);
        const bool asksWhy = vel::isAskedWhy(values);
        static const std::string tooSlow =
            vel::lineOfReason("domain-binding-timed-out", "realmd did not answer within 6 s");
        vel::endQuietlyAfter(6, asksWhy ? tooSlow.c_str() : nullptr);
        if (asksWhy) {
            vel::writeAll(STDOUT_FILENO, vel::reasonOfDomain(bus));
            return 0;
        }
        const auto domain = vel::joinedDomain(bus);
        const auto list = domain ? vel::domainPropertyList(*domain) : std::nullopt;
        if (list) {
            vel::writeAll(STDOUT_FILENO, *list);
        }
        return 0;
    });
}
