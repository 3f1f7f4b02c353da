// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSystemBus.h"

#include <chrono>
#include <cstdint>
#include <dlfcn.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace vel {
namespace {

constexpr std::uint64_t callTimeout =
    std::chrono::microseconds(std::chrono::seconds(3)) / std::chrono::microseconds(1);

/// libsystemd, loaded when there is a bus to ask and not with every process. It stays loaded.
class Library {
    void* _handle = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);

    template <typename Function> Function find(const char* name) const {
        return _handle != nullptr ? reinterpret_cast<Function>(::dlsym(_handle, name)) : nullptr;
    }

public:
#define VEL_FUNCTION(name) decltype(&::name) name = find<decltype(&::name)>(#name)
    VEL_FUNCTION(sd_bus_call);
    VEL_FUNCTION(sd_bus_flush_close_unref);
    VEL_FUNCTION(sd_bus_get_property);
    VEL_FUNCTION(sd_bus_message_append);
    VEL_FUNCTION(sd_bus_message_enter_container);
    VEL_FUNCTION(sd_bus_message_exit_container);
    VEL_FUNCTION(sd_bus_message_new_method_call);
    VEL_FUNCTION(sd_bus_message_peek_type);
    VEL_FUNCTION(sd_bus_message_read);
    VEL_FUNCTION(sd_bus_message_set_auto_start);
    VEL_FUNCTION(sd_bus_message_skip);
    VEL_FUNCTION(sd_bus_message_unref);
    VEL_FUNCTION(sd_bus_new);
    VEL_FUNCTION(sd_bus_set_address);
    VEL_FUNCTION(sd_bus_set_bus_client);
    VEL_FUNCTION(sd_bus_set_method_call_timeout);
    VEL_FUNCTION(sd_bus_start);
#undef VEL_FUNCTION

    /// Whether it is installed. Every version that has a bus has these functions.
    [[nodiscard]] bool isLoaded() const {
        return _handle != nullptr;
    }
};

const Library& systemd() {
    static const Library library;
    return library;
}

using Message = std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)>;

Message owned(sd_bus_message* message) {
    return {message, systemd().sd_bus_message_unref};
}

/// The answer to a call with texts; nothing when there is none.
Message call(sd_bus* bus, const SystemBus::Property& method,
             const std::vector<std::string>& arguments) {
    sd_bus_message* made = nullptr;
    if (systemd().sd_bus_message_new_method_call(bus, &made, method.service, method.object,
                                                 method.interface, method.name) < 0) {
        return owned(nullptr);
    }
    const Message request = owned(made);
    for (const std::string& argument : arguments) {
        if (systemd().sd_bus_message_append(request.get(), "s", argument.c_str()) < 0) {
            return owned(nullptr);
        }
    }
    sd_bus_message* reply = nullptr;
    if (systemd().sd_bus_message_set_auto_start(request.get(), 0) < 0 ||
        systemd().sd_bus_call(bus, request.get(), callTimeout, nullptr, &reply) < 0) {
        return owned(nullptr);
    }
    return owned(reply);
}

std::optional<std::string> readText(sd_bus_message* message) {
    const char* text = nullptr;
    return systemd().sd_bus_message_read(message, "s", &text) > 0 ? std::optional<std::string>(text)
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

/// The content of the variant that comes next. False when it cannot be read; one without texts is
/// passed over.
bool readSetting(sd_bus_message* message, std::vector<std::vector<std::string>>& groups) {
    const char* content = nullptr;
    if (systemd().sd_bus_message_peek_type(message, nullptr, &content) <= 0) {
        return false;
    }
    const std::string type = content;
    if (type != "s" && type != "as" && !type.starts_with("a(s")) {
        return systemd().sd_bus_message_skip(message, "v") >= 0;
    }
    if (systemd().sd_bus_message_enter_container(message, 'v', type.c_str()) < 0) {
        return false;
    }
    if (type == "s") {
        groups.push_back({readText(message).value_or("")});
    } else {
        const std::string item = type.substr(1);
        if (systemd().sd_bus_message_enter_container(message, 'a', item.c_str()) < 0) {
            return false;
        }
        if (item == "s") {
            for (std::string& text : readTexts(message)) {
                groups.push_back({std::move(text)});
            }
        } else {
            const std::string members = item.substr(1, item.size() - 2);
            while (systemd().sd_bus_message_enter_container(message, 'r', members.c_str()) > 0) {
                groups.push_back(readTexts(message));
                if (systemd().sd_bus_message_exit_container(message) < 0) {
                    return false;
                }
            }
        }
        if (systemd().sd_bus_message_exit_container(message) < 0) {
            return false;
        }
    }
    return systemd().sd_bus_message_exit_container(message) >= 0;
}

Message getProperty(sd_bus* bus, const SystemBus::Property& property, const char* type) {
    sd_bus_message* reply = nullptr;
    const int status =
        systemd().sd_bus_get_property(bus, property.service, property.object, property.interface,
                                      property.name, nullptr, &reply, type);
    return owned(status < 0 ? nullptr : reply);
}

/// Whether there is a socket to connect to, at an address "unix:path=...".
bool isThere(const std::string& address) {
    const std::size_t path = address.find('/');
    return path != std::string::npos &&
           ::access(address.substr(path, address.find(',') - path).c_str(), F_OK) == 0;
}

} // namespace

std::optional<SystemBus> SystemBus::connect(const std::string& address) {
    sd_bus* made = nullptr;
    if (!isThere(address) || !systemd().isLoaded() || systemd().sd_bus_new(&made) < 0) {
        return std::nullopt;
    }
    Handle bus(made, systemd().sd_bus_flush_close_unref);
    if (systemd().sd_bus_set_address(made, address.c_str()) < 0 ||
        systemd().sd_bus_set_bus_client(made, 1) < 0 ||
        systemd().sd_bus_set_method_call_timeout(made, callTimeout) < 0 ||
        systemd().sd_bus_start(made) < 0) {
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
    if (!reply || systemd().sd_bus_message_read(reply.get(), "b", &isOwned) < 0) {
        return std::nullopt;
    }
    return isOwned != 0;
}

std::optional<std::string> SystemBus::text(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "s");
    const char* value = nullptr;
    if (!reply || systemd().sd_bus_message_read(reply.get(), "s", &value) < 0) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::vector<std::string>> SystemBus::objectPaths(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "ao");
    if (!reply || systemd().sd_bus_message_enter_container(reply.get(), 'a', "o") < 0) {
        return std::nullopt;
    }
    std::vector<std::string> paths;
    const char* path = nullptr;
    int status = 0;
    while ((status = systemd().sd_bus_message_read(reply.get(), "o", &path)) > 0) {
        paths.emplace_back(path);
    }
    return status < 0 ? std::nullopt : std::optional(std::move(paths));
}

std::optional<SystemBus::TextPairs> SystemBus::textPairs(const Property& property) const {
    const Message reply = getProperty(_bus.get(), property, "a(ss)");
    if (!reply || systemd().sd_bus_message_enter_container(reply.get(), 'a', "(ss)") < 0) {
        return std::nullopt;
    }
    TextPairs pairs;
    const char* first = nullptr;
    const char* second = nullptr;
    int status = 0;
    while ((status = systemd().sd_bus_message_read(reply.get(), "(ss)", &first, &second)) > 0) {
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
    if (!reply || systemd().sd_bus_message_enter_container(reply.get(), 'a', "s") < 0) {
        return std::nullopt;
    }
    return readTexts(reply.get());
}

std::optional<SystemBus::Settings>
SystemBus::askSettings(const Property& method, const std::vector<std::string>& arguments) const {
    const Message reply = call(_bus.get(), method, arguments);
    if (!reply || systemd().sd_bus_message_enter_container(reply.get(), 'a', "{sv}") < 0) {
        return std::nullopt;
    }
    Settings settings;
    int status = 0;
    while ((status = systemd().sd_bus_message_enter_container(reply.get(), 'e', "sv")) > 0) {
        const auto name = readText(reply.get());
        if (!name || !readSetting(reply.get(), settings[*name]) ||
            systemd().sd_bus_message_exit_container(reply.get()) < 0) {
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
    if (!reply || systemd().sd_bus_message_read(reply.get(), "o", &path) < 0) {
        return std::nullopt;
    }
    return text({manager, path, "org.freedesktop.systemd1.Unit", "ActiveState"});
}

} // namespace vel
