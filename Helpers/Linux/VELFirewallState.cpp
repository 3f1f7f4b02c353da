// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewallState.h"
#include "Base/VELShellVariable.h"
#include "Base/VELText.h"
#include "Helpers/Linux/VELFirewallHiddenMatches.h"
#include "Helpers/Linux/VELFirewallRuleset.h"
#include "Helpers/Linux/VELFirewalldZones.h"
#include "Helpers/Linux/VELOutsideInterfaces.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/POSIX/VELFileReader.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vel {
namespace {

constexpr std::size_t maximumRulesetBytes = std::size_t{32} << 20U;
constexpr auto filterTimeout = std::chrono::seconds(4);

/// Starts a program with its output in `output`, nothing to read, no environment and no voice.
std::optional<pid_t> start(const std::string& program, const char* form, int output) {
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    std::array<std::string, 4> words = {program, form, "list", "ruleset"};
    std::array<char*, 5> arguments = {words[0].data(), words[1].data(), words[2].data(),
                                      words[3].data(), nullptr};
    std::array<char*, 1> environment = {nullptr};
    pid_t processID = -1;
    const int problem = ::posix_spawn(&processID, program.c_str(), &actions, nullptr,
                                      arguments.data(), environment.data());
    ::posix_spawn_file_actions_destroy(&actions);
    return problem == 0 ? std::optional(processID) : std::nullopt;
}

/// Reads to the end, no longer than the time-out.
std::optional<std::string> readInTime(int descriptor, std::chrono::steady_clock::time_point end) {
    std::string bytes;
    std::vector<char> buffer(std::size_t{1} << 16U);
    while (bytes.size() <= maximumRulesetBytes) {
        const auto left =
            std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd ready = {descriptor, POLLIN, 0};
        if (::poll(&ready, 1, static_cast<int>(std::max(left.count(), std::int64_t{0}))) != 1) {
            return std::nullopt;
        }
        const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
        if (count <= 0) {
            return count == 0 ? std::optional(std::move(bytes)) : std::nullopt;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return std::nullopt;
}

/// What the packet filter's program printed, if it ended well: as JSON ("-j"), or as text with the
/// handles of the rules ("-a").
std::optional<std::string> listedRuleset(const std::vector<std::string>& programs,
                                         const char* form) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    VELDescriptor reader(ends[0]);
    VELDescriptor writer(ends[1]);
    std::optional<pid_t> processID;
    for (const auto& program : programs) {
        processID = processID ? processID : start(program, form, writer.get());
    }
    writer.close();
    auto output = processID
                      ? readInTime(reader.get(), std::chrono::steady_clock::now() + filterTimeout)
                      : std::nullopt;
    reader.close();
    if (!processID) {
        return std::nullopt;
    }
    if (!output) {
        ::kill(*processID, SIGKILL);
    }
    int status = 0;
    const bool isReaped = ::waitpid(*processID, &status, 0) == *processID;
    return isReaped && WIFEXITED(status) && WEXITSTATUS(status) == 0 ? output : std::nullopt;
}

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
std::optional<FirewallState> stateByRules(const FirewallSources& sources,
                                          const std::vector<std::string>& interfaces) {
    const auto ruleset = listedRuleset(sources.filterPrograms, "-j");
    if (!ruleset) {
        return std::nullopt;
    }
    const auto listing =
        hasHiddenMatches(*ruleset) ? listedRuleset(sources.filterPrograms, "-a") : std::nullopt;
    const auto inbound = inboundDefault(*ruleset, listing.value_or(""),
                                        {interfaces, !isIPv6SwitchedOff(sources.root)});
    if (!inbound) {
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

} // namespace

FirewallState firewallState(const FirewallSources& sources) {
    const auto interfaces = outsideInterfaces();
    if (!interfaces) {
        return FirewallState::interfacesNotTold;
    }
    const auto state = stateByRules(sources, *interfaces);
    return state ? *state : stateByServices(sources, *interfaces);
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
