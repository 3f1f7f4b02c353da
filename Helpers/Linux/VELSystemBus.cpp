// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSystemBus.h"

#include <chrono>
#include <cstdint>
#include <systemd/sd-bus.h>

namespace vel {
namespace {

constexpr std::uint64_t callTimeout =
    std::chrono::microseconds(std::chrono::seconds(3)) / std::chrono::microseconds(1);

using Message = std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)>;

Message owned(sd_bus_message* message) {
    return {message, &sd_bus_message_unref};
}

/// The answer to a call with texts; nothing when there is none.
Message call(sd_bus* bus, const SystemBus::Property& method,
             const std::vector<std::string>& arguments) {
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_method_call(bus, &made, method.service, method.object, method.interface,
                                       method.name) < 0) {
        return owned(nullptr);
    }
    const Message request = owned(made);
    for (const std::string& argument : arguments) {
        if (sd_bus_message_append(request.get(), "s", argument.c_str()) < 0) {
            return owned(nullptr);
        }
    }
    sd_bus_message* reply = nullptr;
    if (sd_bus_message_set_auto_start(request.get(), 0) < 0 ||
        sd_bus_call(bus, request.get(), callTimeout, nullptr, &reply) < 0) {
        return owned(nullptr);
    }
    return owned(reply);
}

std::optional<std::string> readText(sd_bus_message* message) {
    const char* text = nullptr;
    return sd_bus_message_read(message, "s", &text) > 0 ? std::optional<std::string>(text)
                                                        : std::nullopt;
}

/// The texts up to the end of a list or structure.
std::vector<std::string> readTexts(sd_bus_message* message) {
    std::vector<std::string> texts;
    while (auto text = readText(message)) {
        texts.push_back(std::move(*text));
    }
    return texts;
}

/// The content of a variant. False when it cannot be read; one without texts is passed over.
bool readSetting(sd_bus_message* message, std::vector<std::vector<std::string>>& groups) {
    char kind = 0;
    const char* content = nullptr;
    if (sd_bus_message_peek_type(message, &kind, &content) <= 0 || kind != 'v') {
        return false;
    }
    const std::string type = content;
    if (type != "s" && type != "as" && !type.starts_with("a(s")) {
        return sd_bus_message_skip(message, "v") >= 0;
    }
    if (sd_bus_message_enter_container(message, 'v', type.c_str()) < 0) {
        return false;
    }
    if (type == "s") {
        groups.push_back({readText(message).value_or("")});
    } else {
        const std::string item = type.substr(1);
        if (sd_bus_message_enter_container(message, 'a', item.c_str()) < 0) {
            return false;
        }
        if (item == "s") {
            for (std::string& text : readTexts(message)) {
                groups.push_back({std::move(text)});
            }
        } else {
            const std::string members = item.substr(1, item.size() - 2);
            while (sd_bus_message_enter_container(message, 'r', members.c_str()) > 0) {
                groups.push_back(readTexts(message));
                if (sd_bus_message_exit_container(message) < 0) {
                    return false;
                }
            }
        }
        if (sd_bus_message_exit_container(message) < 0) {
            return false;
        }
    }
    return sd_bus_message_exit_container(message) >= 0;
}

Message getProperty(sd_bus* bus, const SystemBus::Property& property, const char* type) {
    sd_bus_message* reply = nullptr;
    const int status =
        sd_bus_get_property(bus, property.service, property.object, property.interface,
                            property.name, nullptr, &reply, type);
    return owned(status < 0 ? nullptr : reply);
}

} // namespace

std::optional<SystemBus> SystemBus::connect(const std::string& address) {
    sd_bus* made = nullptr;
    if (sd_bus_new(&made) < 0) {
        return std::nullopt;
    }
    Handle bus(made, &sd_bus_flush_close_unref);
    if (sd_bus_set_address(made, address.c_str()) < 0 || sd_bus_set_bus_client(made, 1) < 0 ||
        sd_bus_set_method_call_timeout(made, callTimeout) < 0 || sd_bus_start(made) < 0) {
        return std::nullopt;
    }
    return SystemBus(std::move(bus));
}

std::optional<bool> SystemBus::nameHasOwner(const std::string& name) const {
    const Message reply = call(
        _bus.get(),
        {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner"},
        {name});
    int isOwned = 0;
    if (!reply || sd_bus_message_read(reply.get(), "b", &isOwned) < 0) {
        return std::nullopt;
    }
    return isOwned != 0;
}

std::optional<std::string> SystemBus::text(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "s");
    const char* value = nullptr;
    if (!reply || sd_bus_message_read(reply.get(), "s", &value) < 0) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::vector<std::string>> SystemBus::objectPaths(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "ao");
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "o") < 0) {
        return std::nullopt;
    }
    std::vector<std::string> paths;
    const char* path = nullptr;
    int status = 0;
    while ((status = sd_bus_message_read(reply.get(), "o", &path)) > 0) {
        paths.emplace_back(path);
    }
    return status < 0 ? std::nullopt : std::optional(std::move(paths));
}

std::optional<SystemBus::TextPairs> SystemBus::textPairs(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "a(ss)");
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "(ss)") < 0) {
        return std::nullopt;
    }
    TextPairs pairs;
    const char* first = nullptr;
    const char* second = nullptr;
    int status = 0;
    while ((status = sd_bus_message_read(reply.get(), "(ss)", &first, &second)) > 0) {
        pairs.emplace_back(first, second);
    }
    return status < 0 ? std::nullopt : std::optional(std::move(pairs));
}

std::optional<std::string> SystemBus::askText(const Property& method,
                                              const std::vector<std::string>& arguments) const {
    const Message reply = call(_bus.get(), method, arguments);
    return reply ? readText(reply.get()) : std::nullopt;
}

std::optional<std::vector<std::string>>
SystemBus::askTexts(const Property& method, const std::vector<std::string>& arguments) const {
    const Message reply = call(_bus.get(), method, arguments);
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "s") < 0) {
        return std::nullopt;
    }
    return readTexts(reply.get());
}

std::optional<SystemBus::Settings>
SystemBus::askSettings(const Property& method, const std::vector<std::string>& arguments) const {
    const Message reply = call(_bus.get(), method, arguments);
    if (!reply || sd_bus_message_enter_container(reply.get(), 'a', "{sv}") < 0) {
        return std::nullopt;
    }
    Settings settings;
    int status = 0;
    while ((status = sd_bus_message_enter_container(reply.get(), 'e', "sv")) > 0) {
        const auto name = readText(reply.get());
        if (!name || !readSetting(reply.get(), settings[*name]) ||
            sd_bus_message_exit_container(reply.get()) < 0) {
            return std::nullopt;
        }
    }
    return status < 0 ? std::nullopt : std::optional(std::move(settings));
}

std::optional<std::string> SystemBus::unitState(const std::string& unit) const {
    constexpr const char* manager = "org.freedesktop.systemd1";
    const Message reply =
        call(_bus.get(),
             {manager, "/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", "GetUnit"},
             {unit});
    const char* path = nullptr;
    if (!reply || sd_bus_message_read(reply.get(), "o", &path) < 0) {
        return std::nullopt;
    }
    return text({manager, path, "org.freedesktop.systemd1.Unit", "ActiveState"});
}

} // namespace vel
