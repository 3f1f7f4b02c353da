// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallState.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <unistd.h>

int main(int argumentCount, char** arguments) {
    const vel::ToolUsage usage = {
        .name = "firewall-state",
        .purpose = "Says whether inbound connections are denied by default. Prints nothing where\n"
                   "that cannot be known.",
        .arguments = {"--getglobalstate"},
        .options = {{"--nft", "The program to run instead of /usr/sbin/nft"},
                    {"--bus", "The address of the system bus"},
                    {"--root", "What to put before /proc and /etc"}},
        .saysWhy = true,
        .failureStatus = 0,
    };
    return vel::runTool(usage, argumentCount, arguments, [](const vel::ToolValues& values) {
        const bool asksWhy = vel::isAskedWhy(values);
        static const std::string tooSlow =
            vel::lineOfReason("firewall-state-timed-out", "firewall-state did not end within 6 s");
        vel::endQuietlyAfter(6, asksWhy ? tooSlow.c_str() : nullptr);
        vel::FirewallSources sources;
        if (const auto program = values.find("--nft"); program != values.end()) {
            sources.filterPrograms = {program->second};
        }
        sources.busAddress = vel::valueOr(values, "--bus", sources.busAddress);
        sources.root = vel::valueOr(values, "--root", sources.root);
        const vel::FirewallAnswer answer = vel::firewallState(sources);
        if (asksWhy) {
            vel::writeAll(STDOUT_FILENO, vel::reasonOfFirewallState(answer));
            return 0;
        }
        switch (answer.state) {
        case vel::FirewallState::on:
            vel::writeAll(STDOUT_FILENO, "Firewall is enabled. (State = 1)\n");
            break;
        case vel::FirewallState::off:
            vel::writeAll(STDOUT_FILENO, "Firewall is disabled. (State = 0)\n");
            break;
        case vel::FirewallState::matchesHidden:
        case vel::FirewallState::interfacesNotTold:
        case vel::FirewallState::firewalldNotTold:
        case vel::FirewallState::nothingReadable:
            break;
        }
        return 0;
    });
}
