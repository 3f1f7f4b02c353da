// SPDX-License-Identifier: Apache-2.0
//
// The registry of devices, as far as it is asked.
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Platform/Apple/StandIns/StandInPorts.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <map>
#include <mutex>
#include <string_view>
#include <utility>

namespace {

using standin::FallibleCall;

std::mutex portsMutex;
std::map<io_object_t, standin::Properties> ports;
io_object_t lastPort = 0x0B03; // as high as a process has them soon

constexpr const char* classKey = "IOProviderClass";

CFTypeRef expertsProperty(const std::string& name) {
    const auto& serialNumber = StandInMac::current().described.hardwareSerialNumber;
    return name == "IOPlatformSerialNumber" && serialNumber ? standin::copyString(*serialNumber)
                                                            : nullptr;
}

} // namespace

io_object_t standin::makePort(Properties properties) {
    const std::scoped_lock lock(portsMutex);
    ports.emplace(++lastPort, std::move(properties));
    return lastPort;
}

std::size_t standin::livePorts() {
    const std::scoped_lock lock(portsMutex);
    return ports.size();
}

extern "C" {

const mach_port_t kIOMainPortDefault = 0;

CFMutableDictionaryRef IOServiceMatching(const char* name) {
    const FallibleCall call("IOServiceMatching");
    if (call.fails()) {
        return nullptr;
    }
    const CFMutableDictionaryRef matching = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    const CFStringRef className = standin::copyString(name);
    CFDictionarySetValue(matching, CFSTR("IOProviderClass"), className);
    CFRelease(className);
    return matching;
}

io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching) {
    const FallibleCall call("IOServiceGetMatchingService");
    if (matching == nullptr) {
        return IO_OBJECT_NULL;
    }
    const VELValue wanted = standin::readable(matching);
    CFRelease(matching);
    if (call.fails() || mainPort != kIOMainPortDefault ||
        wanted != VELValue{{classKey, "IOPlatformExpertDevice"}}) {
        return IO_OBJECT_NULL;
    }
    return standin::makePort(expertsProperty);
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef /*allocator*/, IOOptionBits options) {
    const FallibleCall call("IORegistryEntryCreateCFProperty");
    standin::Properties properties;
    {
        const std::scoped_lock lock(portsMutex);
        const auto port = ports.find(entry);
        if (port == ports.end()) {
            standin::abortOn("a property of what is no io_object_t");
        }
        properties = port->second;
    }
    if (options != 0) {
        standin::abortOn("a property with options");
    }
    if (call.fails()) {
        return nullptr;
    }
    const auto& answers = StandInMac::current().answers;
    const auto answer = answers.find("IORegistryEntryCreateCFProperty");
    return answer != answers.end() ? answer->second() : properties(standin::textOf(key));
}

kern_return_t IOObjectRelease(io_object_t object) {
    const std::scoped_lock lock(portsMutex);
    if (ports.erase(object) == 0) {
        standin::abortOn("release of what is no io_object_t");
    }
    return KERN_SUCCESS;
}

} // extern "C"
