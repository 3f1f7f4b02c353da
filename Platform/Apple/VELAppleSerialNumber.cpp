// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleSerialNumber.h"

#include "Platform/Apple/VELCFValue.h"
#include "Platform/Apple/VELIOObject.h"

std::optional<std::string> vel::appleSerialNumber() {
    // The look-up takes the reference over, also when it finds nothing: it is never released here.
    const CFMutableDictionaryRef matching = ::IOServiceMatching("IOPlatformExpertDevice");
    if (matching == nullptr) {
        return std::nullopt;
    }
    const VELIOObject expert(::IOServiceGetMatchingService(kIOMainPortDefault, matching));
    if (!expert) {
        return std::nullopt;
    }
    const auto number = VELCFReference<CFTypeRef>::adopt(::IORegistryEntryCreateCFProperty(
        expert.get(), CFSTR("IOPlatformSerialNumber"), kCFAllocatorDefault, 0));
    return textOfObject(number.get());
}
