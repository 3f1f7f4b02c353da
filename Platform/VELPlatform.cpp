// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELPlatform.h"

#if defined(__linux__)
#include "Platform/Linux/VELLinuxPlatform.h"
using HostPlatform = VELLinuxPlatform;
#else
#error "no platform folder answers for this operating system"
#endif

std::shared_ptr<const VELPlatform> VELPlatform::host() {
    static const auto platform = std::make_shared<const HostPlatform>();
    return platform;
}
