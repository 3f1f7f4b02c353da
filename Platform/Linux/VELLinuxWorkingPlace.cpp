// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxWorkingPlace.h"

#include <sys/mman.h>

VELLinuxWorkingPlace::VELLinuxWorkingPlace()
    : _file(::memfd_create("vel-working-place", MFD_CLOEXEC)) {
    _file.moveAboveStandardStreams();
}
