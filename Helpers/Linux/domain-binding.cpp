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
        .failureStatus = 0,
    };
    return vel::runTool(usage, argumentCount, arguments, [](const vel::ToolValues& values) {
        vel::endQuietlyAfter(6);
        const auto domain = vel::joinedDomain(vel::valueOr(values, "--bus", vel::systemBusAddress));
        const auto list = domain ? vel::domainPropertyList(*domain) : std::nullopt;
        if (list) {
            vel::writeAll(STDOUT_FILENO, *list);
        }
        return 0;
    });
}
