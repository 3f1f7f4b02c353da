// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELFirewalldZones.h"
#include "Helpers/Linux/VELAddressRange.h"
#include "Helpers/Linux/VELPortSet.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace vel {
namespace {

using Settings = SystemBus::Settings;
using Groups = std::vector<std::vector<std::string>>;

SystemBus::Property method(const char* part, const char* name) {
    return {"org.fedoraproject.FirewallD1", "/org/fedoraproject/FirewallD1", part, name};
}
constexpr const char* general = "org.fedoraproject.FirewallD1";
constexpr const char* zonePart = "org.fedoraproject.FirewallD1.zone";
constexpr const char* policyPart = "org.fedoraproject.FirewallD1.policy";

const Groups& groups(const Settings& settings, std::string_view name) {
    static const Groups none;
    const auto found = settings.find(name);
    return found == settings.end() ? none : found->second;
}

bool holds(const Settings& settings, std::string_view name,
           const std::vector<std::string_view>& texts) {
    return std::ranges::any_of(groups(settings, name), [&texts](const auto& group) {
        return !group.empty() && std::ranges::find(texts, group[0]) != texts.end();
    });
}

std::optional<unsigned> wholeNumber(std::string_view text) {
    unsigned number = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size() ? std::optional(number)
                                                                      : std::nullopt;
}

/// Ports by protocol.
struct OpenPorts {
    PortSet tcp;
    PortSet udp;

    /// Of "22" or "1000-2000"; all when it is neither.
    void add(std::string_view ports, std::string_view protocol) {
        const std::size_t dash = ports.find('-');
        const auto first = wholeNumber(ports.substr(0, dash));
        const auto last =
            dash == std::string_view::npos ? first : wholeNumber(ports.substr(dash + 1));
        const PortSet set = first && last ? PortSet({{*first, *last}}) : PortSet::all();
        tcp |= protocol == "tcp" ? set : PortSet();
        udp |= protocol == "udp" ? set : PortSet();
    }
};

/// A source is a network, an address, a hardware address or a named set.
bool mayBePublic(const std::string& source) {
    const std::size_t slash = source.find('/');
    const std::string address = source.substr(0, slash);
    const auto length = slash == std::string::npos
                            ? std::optional(address.find(':') == std::string::npos ? 32U : 128U)
                            : wholeNumber(std::string_view(source).substr(slash + 1));
    const auto range = length ? addressPrefix(address, *length) : std::nullopt;
    return !range || publicAddressesIn(*range) != Coverage::none;
}

/// A rich rule that lets no connection in. What it says in quotes, as before a line of the log, may
/// be any text.
bool isHarmless(std::string_view rule) {
    constexpr std::array harmless = {"icmp-type", "icmp-block", "drop", "reject"};
    while (!rule.empty()) {
        const std::size_t end = std::min(rule.find_first_of(" \""), rule.size());
        if (std::ranges::find(harmless, rule.substr(0, end)) != harmless.end()) {
            return true;
        }
        const bool isQuoted = end < rule.size() && rule[end] == '"';
        const std::size_t last = isQuoted ? rule.find('"', end + 1) : end;
        rule.remove_prefix(last < rule.size() ? last + 1 : rule.size());
    }
    return false;
}

class Inquiry {
public:
    Inquiry(const SystemBus& bus, const std::vector<std::string>& interfaces)
        : _bus(bus), _interfaces(interfaces) {}

    std::optional<bool> refuses() {
        const auto defaultZone = _bus.askText(method(general, "getDefaultZone"), {});
        const auto zones = _bus.askTexts(method(zonePart, "getZones"), {});
        const auto policies = _bus.askTexts(method(policyPart, "getPolicies"), {});
        if (!defaultZone || defaultZone->empty() || !zones || !policies ||
            std::ranges::find(*zones, *defaultZone) == zones->end()) {
            return std::nullopt;
        }
        for (const std::string& name : *zones) {
            const auto zone = _bus.askSettings(method(zonePart, "getZoneSettings2"), {name});
            if (!zone || (isOutside(*zone, name == *defaultZone) && !add(*zone, name))) {
                return std::nullopt;
            }
        }
        for (const std::string& name : *policies) {
            const auto policy = _bus.askSettings(method(policyPart, "getPolicySettings"), {name});
            if (!policy || (leadsHere(*policy) && !add(*policy, {}))) {
                return std::nullopt;
            }
        }
        return !_isOpen && _ports.tcp.size() <= maximumOpenPorts &&
               _ports.udp.size() <= maximumOpenPorts;
    }

private:
    bool isOutside(const Settings& zone, bool isDefault) const {
        // The default zone takes what no other does: it counts always.
        return isDefault ||
               std::ranges::any_of(
                   groups(zone, "sources"),
                   [](const auto& source) { return source.empty() || mayBePublic(source[0]); }) ||
               std::ranges::any_of(groups(zone, "interfaces"), [this](const auto& group) {
                   return group.empty() || isOutsideInterface(group[0]);
               });
    }

    bool isOutsideInterface(const std::string& name) const {
        const bool isPrefix = name.ends_with('+') || name.ends_with('*');
        const std::string_view stem(name.data(), name.size() - (isPrefix ? 1 : 0));
        return std::ranges::any_of(_interfaces, [&](const std::string& interface) {
            return isPrefix ? interface.starts_with(stem) : interface == name;
        });
    }

    bool leadsHere(const Settings& policy) const {
        std::vector<std::string_view> from = {"ANY"};
        from.insert(from.end(), _zones.begin(), _zones.end());
        return holds(policy, "ingress_zones", from) &&
               holds(policy, "egress_zones", {"HOST", "ANY"});
    }

    /// Adds what a zone or policy opens. False when that is not known.
    bool add(const Settings& settings, const std::string& zone) {
        if (!zone.empty()) {
            _zones.push_back(zone);
        }
        const Groups& target = groups(settings, "target");
        if (target.size() != 1 ||
            !std::ranges::all_of(
                groups(settings, "rules_str"),
                [](const auto& rule) { return !rule.empty() && isHarmless(rule[0]); }) ||
            !std::ranges::all_of(groups(settings, "rich_rules"), [](const auto& rule) {
                return !rule.empty() && isHarmless(rule[0]);
            })) {
            return false;
        }
        _isOpen |= target[0] == std::vector<std::string>{"ACCEPT"};
        for (const auto& service : groups(settings, "services")) {
            const auto described =
                _bus.askSettings(method(general, "getServiceSettings2"), service);
            if (!described || !groups(*described, "includes").empty()) {
                return false;
            }
            addPorts(*described);
        }
        addPorts(settings);
        return true;
    }

    void addPorts(const Settings& settings) {
        for (const char* kind : {"ports", "forward_ports"}) {
            for (const auto& port : groups(settings, kind)) {
                if (port.size() >= 2) {
                    _ports.add(port[0], port[1]);
                }
            }
        }
        _isOpen |= !groups(settings, "source_ports").empty() ||
                   holds(settings, "protocols", {"tcp", "udp", "6", "17"});
    }

    const SystemBus& _bus;
    const std::vector<std::string>& _interfaces;
    std::vector<std::string> _zones;
    OpenPorts _ports;
    bool _isOpen = false;
};

} // namespace

std::optional<bool> doesFirewalldRefuse(const SystemBus& bus,
                                        const std::vector<std::string>& interfaces) {
    if (!bus.nameHasOwner("org.fedoraproject.FirewallD1").value_or(false)) {
        return std::nullopt;
    }
    return Inquiry(bus, interfaces).refuses();
}

} // namespace vel
