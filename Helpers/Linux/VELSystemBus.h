// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

struct sd_bus;

namespace vel {

/// Where the system bus listens. DBUS_SYSTEM_BUS_ADDRESS is not asked: a user could name a bus of
/// their own, with services that say what they like.
inline constexpr const char* systemBusAddress = "unix:path=/run/dbus/system_bus_socket";

/// Questions to the services of a message bus. Each is answered or given up within seconds.
class SystemBus {
public:
    /// Nothing when no bus answers there.
    static std::optional<SystemBus> connect(const std::string& address);

    /// Whether a service runs under `name`; it is not started. Nothing: the bus does not say.
    [[nodiscard]] std::optional<bool> nameHasOwner(const std::string& name) const;

    /// The properties of an object, asked by their types. Nothing: no such service (it is started
    /// where the bus can), object or property, another type, or no answer.
    struct Property {
        const char* service;
        const char* object;
        const char* interface;
        const char* name;
    };
    [[nodiscard]] std::optional<std::string> text(const Property& property) const;
    [[nodiscard]] std::optional<std::vector<std::string>>
    objectPaths(const Property& property) const;
    using TextPairs = std::vector<std::pair<std::string, std::string>>;
    [[nodiscard]] std::optional<TextPairs> textPairs(const Property& property) const;

    /// The answer of a method to the texts in `arguments`; the service is not started for it.
    /// Nothing: no such service or method, it refuses, another type, or no answer.
    [[nodiscard]] std::optional<std::string>
    askText(const Property& method, const std::vector<std::string>& arguments) const;
    [[nodiscard]] std::optional<std::vector<std::string>>
    askTexts(const Property& method, const std::vector<std::string>& arguments) const;

    /// Settings by name. Each is a list of groups of texts: one group of one for a text, one for
    /// each text or structure of a list. Numbers and booleans are left out.
    using Settings = std::map<std::string, std::vector<std::vector<std::string>>, std::less<>>;
    [[nodiscard]] std::optional<Settings>
    askSettings(const Property& method, const std::vector<std::string>& arguments) const;

    /// The state of a unit of the service manager ("active"). Nothing when it is not loaded or the
    /// manager does not answer.
    [[nodiscard]] std::optional<std::string> unitState(const std::string& unit) const;

private:
    using Handle = std::unique_ptr<sd_bus, sd_bus* (*)(sd_bus*)>;
    explicit SystemBus(Handle bus) : _bus(std::move(bus)) {}

    Handle _bus;
};

} // namespace vel
