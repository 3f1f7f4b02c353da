// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxMachineID.h"

#include "Base/VELText.h"

#include <cstdint>
#include <dlfcn.h>
#include <systemd/sd-id128.h>

namespace vel {
namespace {

// Changing it gives every machine another id.
constexpr sd_id128_t applicationID = {.bytes = {0xb5, 0x84, 0xac, 0xf3, 0x2d, 0x1c, 0x40, 0x68,
                                                0xb2, 0xf8, 0xef, 0xa5, 0x2e, 0xcc, 0xd3, 0x3d}};

using DeriveID = decltype(&sd_id128_get_machine_app_specific);

DeriveID deriveIDOfLibrary() {
    // Few machines get here, so the library is loaded on demand, not with every process. It stays.
    void* library = ::dlopen("libsystemd.so.0", RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        return nullptr;
    }
    return reinterpret_cast<DeriveID>(::dlsym(library, "sd_id128_get_machine_app_specific"));
}

std::string hexadecimal(const sd_id128_t& id) {
    std::string text;
    for (const std::uint8_t byte : id.bytes) {
        appendHexadecimal(byte, text);
    }
    return text;
}

} // namespace

std::optional<std::string> applicationSpecificMachineID() {
    static const DeriveID deriveID = deriveIDOfLibrary();
    sd_id128_t id{};
    if (deriveID == nullptr || deriveID(applicationID, &id) < 0) {
        return std::nullopt;
    }
    return hexadecimal(id);
}

} // namespace vel
