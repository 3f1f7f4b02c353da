// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallState.h"
#include "Base/VELShellVariable.h"
#include "Base/VELText.h"
#include "Helpers/Linux/VELFirewallRuleset.h"
#include "Helpers/Linux/VELFirewalldZones.h"
#include "Helpers/Linux/VELOutsideInterfaces.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELFileReader.h"
#include "Platform/POSIX/VELMonotonicClock.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <unistd.h>
#include <utility>

namespace vel {
namespace {

constexpr std::size_t maximumRulesetBytes = std::size_t{32} << 20U;
constexpr auto filterTimeout = std::chrono::seconds(4);

/// A run of the packet filter's program that lists the rules. It ends with this object.
class Listing {
public:
    /// `form`: "-j", as JSON, or "-a", as text with the handles of the rules.
    Listing(const std::vector<std::string>& programs, const char* form) {
        for (const std::string& program : programs) {
            auto filter = std::make_unique<VELPOSIXTask>(
                program, std::vector<std::string>{form, "list", "ruleset"},
                VELPOSIXTask::Options{.environment = std::vector<std::string>(),
                                      .usesNullStreams = true,
                                      .outputLimit = maximumRulesetBytes});
            try {
                filter->launch();
                _filter = std::move(filter);
                return;
            } catch (const VELTaskLaunchFailure&) { // NOLINT(bugprone-empty-catch): the next one
            }
        }
    }
    Listing(const Listing&) = delete;
    Listing& operator=(const Listing&) = delete;
    ~Listing() {
        if (_filter != nullptr) {
            _filter->kill();
            _filter->waitUntilExit();
        }
    }

    /// What it printed, if it ended well.
    std::optional<std::string> read(VELTimePoint deadline, RulesProblem& problem) {
        if (_filter == nullptr) {
            problem = RulesProblem::programMissing;
            return std::nullopt;
        }
        // Read first: it prints more than a pipe holds.
        auto output = _filter->readOutputToEnd(deadline);
        if (!output || !_filter->exitsBefore(deadline)) {
            _filter->kill();
        }
        _filter->waitUntilExit();
        const std::int32_t status = _filter->terminationStatus();
        problem = status == 0 && output        ? RulesProblem::none
                  : monotonicNow() >= deadline ? RulesProblem::programTooSlow
                  : ::geteuid() != 0           ? RulesProblem::needsRoot
                                               : RulesProblem::programFailed;
        return status == 0 ? output : std::nullopt;
    }

private:
    std::unique_ptr<VELPOSIXTask> _filter;
};

/// Both lists of the rules, asked for at once.
struct Listings {
    explicit Listings(const std::vector<std::string>& programs)
        : json(programs, "-j"), text(programs, "-a") {}

    VELTimePoint deadline = monotonicNow() + filterTimeout;
    Listing json;
    // Where nft fails to read the rules of a table, it lists none, and ends well.
    Listing text;
};

bool isDeniedByUFW(const SystemBus& bus, const std::string& root) {
    const std::string configuration = readFile(root + "/etc/ufw/ufw.conf").bytes;
    const std::string defaults = readFile(root + "/etc/default/ufw").bytes;
    const auto value = [](const std::string& file, std::string_view name) {
        return lowercase(shellVariable(file, name).value_or(""));
    };
    const std::string policy = value(defaults, "DEFAULT_INPUT_POLICY");
    return value(configuration, "ENABLED") == "yes" && (policy == "drop" || policy == "reject") &&
           (value(defaults, "IPV6") == "yes" || isIPv6SwitchedOff(root)) &&
           bus.unitState("ufw.service") == "active";
}

/// Nullopt when the rules cannot be read.
std::optional<FirewallState> stateByRules(Listings& listings, const InboundQuestion& question,
                                          RulesProblem& problem) {
    const auto ruleset = listings.json.read(listings.deadline, problem);
    const auto listing = ruleset ? listings.text.read(listings.deadline, problem) : std::nullopt;
    if (!listing) {
        return std::nullopt;
    }
    const auto inbound = inboundDefault(*ruleset, *listing, question);
    if (!inbound) {
        problem = RulesProblem::notUnderstood;
        return std::nullopt;
    }
    switch (*inbound) {
    case InboundDefault::refused:
        return FirewallState::on;
    case InboundDefault::letIn:
        return FirewallState::off;
    case InboundDefault::hidden:
        return FirewallState::matchesHidden;
    }
    return std::nullopt;
}

FirewallState stateByServices(const FirewallSources& sources,
                              const std::vector<std::string>& interfaces) {
    const auto bus = SystemBus::connect(sources.busAddress);
    if (bus && bus->nameHasOwner("org.fedoraproject.FirewallD1").value_or(true)) {
        const auto refuses = doesFirewalldRefuse(*bus, interfaces);
        return !refuses   ? FirewallState::firewalldNotTold
               : *refuses ? FirewallState::on
                          : FirewallState::off;
    }
    return bus && isDeniedByUFW(*bus, sources.root) ? FirewallState::on
                                                    : FirewallState::nothingReadable;
}

struct Reason {
    std::string_view code;
    std::string_view text;
};

Reason reasonOfRules(RulesProblem problem) {
    switch (problem) {
    case RulesProblem::programMissing:
        return {"nftables-missing", "firewall-state cannot run nft: nftables is not installed"};
    case RulesProblem::needsRoot:
        return {"firewall-needs-root", "firewall-state needs root to read the rules"};
    case RulesProblem::programTooSlow:
        return {"nftables-timed-out", "nft did not list the rules within 4 s"};
    case RulesProblem::notUnderstood:
        return {"rules-not-understood", "what nft listed is not understood"};
    case RulesProblem::programFailed:
    case RulesProblem::none:
        break;
    }
    return {"nftables-failed", "nft failed to list the rules"};
}

} // namespace

FirewallAnswer firewallState(const FirewallSources& sources) {
    Listings listings(sources.filterPrograms);
    const auto interfaces = outsideInterfaces();
    if (!interfaces) {
        return {FirewallState::interfacesNotTold};
    }
    RulesProblem problem = RulesProblem::none;
    const auto state =
        stateByRules(listings, {*interfaces, !isIPv6SwitchedOff(sources.root)}, problem);
    return {state ? *state : stateByServices(sources, *interfaces), problem};
}

std::string reasonOfFirewallState(const FirewallAnswer& answer) {
    const Reason ofRules = reasonOfRules(answer.problem);
    switch (answer.state) {
    case FirewallState::on:
    case FirewallState::off:
        return lineOfReason(answerIsKnown, "the firewall's state can be read");
    case FirewallState::matchesHidden:
        return lineOfReason("rules-hidden", "the rules depend on matches that nft does not show");
    case FirewallState::interfacesNotTold:
        return lineOfReason("interfaces-unknown",
                            "the kernel does not list its interfaces and routes");
    case FirewallState::firewalldNotTold:
        return lineOfReason("firewalld-not-told", std::string(ofRules.text) +
                                                      ", and firewalld does not tell its settings");
    case FirewallState::nothingReadable:
        break;
    }
    return lineOfReason(ofRules.code, ofRules.text);
}

bool isIPv6SwitchedOff(const std::string& root) {
    namespace fs = std::filesystem;
    std::error_code problem;
    if (!fs::exists(root + "/proc/sys/net", problem) || problem) {
        return false;
    }
    if (!fs::exists(root + "/proc/sys/net/ipv6", problem)) {
        return !problem;
    }
    fs::directory_iterator interfaces(root + "/proc/sys/net/ipv6/conf", problem);
    bool isOff = !problem && interfaces != fs::directory_iterator();
    for (; !problem && interfaces != fs::directory_iterator(); interfaces.increment(problem)) {
        const bool isLoopback = interfaces->path().filename() == "lo";
        isOff =
            isOff && (isLoopback || readFile(interfaces->path() / "disable_ipv6").bytes == "1\n");
    }
    return isOff && !problem;
}

} // namespace vel
