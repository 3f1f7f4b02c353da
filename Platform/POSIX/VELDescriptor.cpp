// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELDescriptor.h"

#include <cerrno>

void VELDescriptor::close() {
    if (_descriptor < 0) {
        return;
    }
    const int before = errno;
    // Not tried again when interrupted: the descriptor is gone then, and may be somebody else's.
    ::close(std::exchange(_descriptor, -1));
    errno = before;
}
