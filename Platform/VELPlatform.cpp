// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPlatform.h"

#if defined(__APPLE__)
#include "Platform/Apple/VELApplePlatform.h"
using HostPlatform = VELApplePlatform;
#elif defined(__linux__)
#include "Platform/Linux/VELLinuxPlatform.h"
using HostPlatform = VELLinuxPlatform;
#else
#error "no platform folder answers for this operating system"
#endif

std::shared_ptr<const VELPlatform> VELPlatform::host() {
    // Never destroyed: the host's static objects may still make requests while the process exits.
    static const auto& platform = *new auto(std::make_shared<const HostPlatform>());
    return platform;
}
