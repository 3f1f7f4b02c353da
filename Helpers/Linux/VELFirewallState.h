// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Helpers/Linux/VELSystemBus.h"

#include <string>
#include <vector>

namespace vel {

/// The state, or why it is not known.
enum class FirewallState {
    on,
    off,
    matchesHidden,     ///< the rules depend on conditions that nft does not show
    interfacesNotTold, ///< the kernel does not list its interfaces and routes
    firewalldNotTold,  ///< the rules may not be read, and firewalld may not be asked
    nothingReadable,   ///< the rules may not be read, and no other source says anything
};

/// Why the packet filter's rules decide nothing.
enum class RulesProblem {
    none,
    programMissing, ///< its program cannot be run
    needsRoot,      ///< its program failed, and this process has not root's rights
    programFailed,
    programTooSlow,
    notUnderstood, ///< what it printed is no list of rules
};

struct FirewallAnswer {
    FirewallState state;
    /// Why the rules were not what decided.
    RulesProblem problem = RulesProblem::none;
};

/// Where the state of the firewall is looked for.
struct FirewallSources {
    /// The packet filter's program: the first that can be run. Fixed places, not the PATH.
    std::vector<std::string> filterPrograms = {"/usr/sbin/nft", "/sbin/nft"};
    std::string busAddress = systemBusAddress;
    /// What stands before /proc and /etc.
    std::string root;
};

/// Whether connections from outside are refused by default. The packet filter's rules decide, for
/// IPv4 and, unless the machine has it switched off, IPv6. Where they may not be read: firewalld
/// where it runs, for the zones of the interfaces to the outside; else on while ufw is enabled, its
/// unit active and its default for incoming connections to deny.
FirewallAnswer firewallState(const FirewallSources& sources);

/// Why the state is not known, or that it is: a line for `--why`.
std::string reasonOfFirewallState(const FirewallAnswer& answer);

/// Whether IPv6 is switched off under `root`: the kernel has none, or every interface but the
/// loopback one, and every interface to come, has it disabled. False in doubt.
bool isIPv6SwitchedOff(const std::string& root);

} // namespace vel
