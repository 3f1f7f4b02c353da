// SPDX-License-Identifier: Apache-2.0
#include "Tests/Helpers/Linux/PrivateBus.h"

#include "Helpers/Linux/VELSystemBus.h"

#include <chrono>
#include <stdexcept>
#include <systemd/sd-bus.h>

namespace {

void appendVariant(sd_bus_message* reply, const FakeService::Value& value, bool isOfPaths) {
    if (const auto* text = std::get_if<std::string>(&value)) {
        sd_bus_message_append(reply, "v", "s", text->c_str());
    } else if (const auto* number = std::get_if<unsigned>(&value)) {
        sd_bus_message_append(reply, "v", "u", *number);
    } else if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) {
        const char type[] = {isOfPaths ? 'o' : 's', 0};
        sd_bus_message_open_container(reply, 'v', (std::string("a") + type).c_str());
        sd_bus_message_open_container(reply, 'a', type);
        for (const auto& each : *texts) {
            sd_bus_message_append(reply, type, each.c_str());
        }
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    } else {
        sd_bus_message_open_container(reply, 'v', "a(ss)");
        sd_bus_message_open_container(reply, 'a', "(ss)");
        for (const auto& [first, second] : std::get<FakeService::Pairs>(value)) {
            sd_bus_message_append(reply, "(ss)", first.c_str(), second.c_str());
        }
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    }
}

void appendAnswer(sd_bus_message* reply, const FakeService::Answer& answer) {
    if (const auto* text = std::get_if<std::string>(&answer)) {
        sd_bus_message_append(reply, "s", text->c_str());
    } else if (const auto* texts = std::get_if<std::vector<std::string>>(&answer)) {
        sd_bus_message_open_container(reply, 'a', "s");
        for (const auto& each : *texts) {
            sd_bus_message_append(reply, "s", each.c_str());
        }
        sd_bus_message_close_container(reply);
    } else {
        sd_bus_message_open_container(reply, 'a', "{sv}");
        for (const auto& [name, value] : std::get<FakeService::Settings>(answer)) {
            sd_bus_message_open_container(reply, 'e', "sv");
            sd_bus_message_append(reply, "s", name.c_str());
            appendVariant(reply, value, false);
            sd_bus_message_close_container(reply);
        }
        sd_bus_message_close_container(reply);
    }
}

/// The answer to a method without arguments or with one text, if there is one.
const FakeService::Answer* knownAnswer(const FakeService::Content& content, sd_bus_message* call) {
    const char* argument = "";
    if (sd_bus_message_has_signature(call, "s") > 0) {
        sd_bus_message_read(call, "s", &argument);
    }
    const char* member = sd_bus_message_get_member(call);
    const auto found = content.answers.find({member == nullptr ? "" : member, argument});
    return found == content.answers.end() ? nullptr : &found->second;
}

int answer(sd_bus_message* call, void* data, sd_bus_error*) {
    const auto& content = *static_cast<const FakeService::Content*>(data);
    sd_bus_message* reply = nullptr;
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "Get") > 0) {
        const char* interface = nullptr;
        const char* name = nullptr;
        sd_bus_message_read(call, "ss", &interface, &name);
        const auto found =
            content.properties.find({sd_bus_message_get_path(call), interface, name});
        if (found == content.properties.end()) {
            return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_UNKNOWN_PROPERTY, "none");
        }
        sd_bus_message_new_method_return(call, &reply);
        appendVariant(reply, found->second, true);
    } else if (sd_bus_message_is_method_call(call, nullptr, "GetUnit") > 0) {
        const char* unit = nullptr;
        sd_bus_message_read(call, "s", &unit);
        const auto found = content.units.find(unit);
        if (found == content.units.end()) {
            return sd_bus_reply_method_errorf(call, "org.freedesktop.systemd1.NoSuchUnit", "none");
        }
        sd_bus_message_new_method_return(call, &reply);
        sd_bus_message_append(reply, "o", found->second.c_str());
    } else if (const auto* known = knownAnswer(content, call)) {
        sd_bus_message_new_method_return(call, &reply);
        appendAnswer(reply, *known);
    } else {
        return 0;
    }
    sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return 1;
}

} // namespace

PrivateBus::PrivateBus() {
    const std::string socket = _folder.path() + "/bus";
    _address = "unix:path=" + socket;
    const std::string configuration =
        _folder.write("bus.conf", "<busconfig><type>system</type><listen>" + _address +
                                      "</listen><auth>EXTERNAL</auth><policy context=\"default\">"
                                      "<allow send_destination=\"*\"/><allow receive_sender=\"*\"/>"
                                      "<allow own=\"*\"/><allow user=\"*\"/></policy></busconfig>");
    _daemon = std::make_unique<RunningProgram>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + configuration, "--nofork", "--nopidfile"});
    // The socket is there a little before one can connect to it.
    for (int attempt = 0; attempt < 6000 && !vel::SystemBus::connect(_address); ++attempt) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

FakeService::FakeService(const std::string& address, std::string name, Properties properties,
                         Units units, Answers answers)
    : _content{std::move(properties), std::move(units), std::move(answers)} {
    _thread = std::thread([this, address, name = std::move(name)] {
        sd_bus* bus = nullptr;
        sd_bus_new(&bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        sd_bus_start(bus);
        sd_bus_add_filter(bus, nullptr, &answer, &_content);
        if (sd_bus_request_name(bus, name.c_str(), 0) < 0) {
            _isOver = true;
        }
        _isReady = true;
        while (!_isOver) {
            if (sd_bus_process(bus, nullptr) <= 0) {
                sd_bus_wait(bus, 20'000);
            }
        }
        sd_bus_flush_close_unref(bus);
    });
    while (!_isReady) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (_isOver) {
        _thread.join();
        throw std::runtime_error("the bus refuses the name");
    }
}

FakeService::~FakeService() {
    _isOver = true;
    _thread.join();
}
