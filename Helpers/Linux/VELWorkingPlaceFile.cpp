// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELWorkingPlaceFile.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <cstddef>
#include <unistd.h>
#include <utility>

namespace {

constexpr int descriptor = VELPOSIXTask::inheritedDescriptor;
constexpr std::size_t maximumCertificateBytes = std::size_t{1} << 20U;

// The tools share the position in the file, too.
bool goToStart() {
    return ::lseek(descriptor, 0, SEEK_SET) == 0;
}

} // namespace

bool vel::clearWorkingPlace() {
    return ::ftruncate(descriptor, 0) == 0 && goToStart();
}

bool vel::writeWorkingPlace(std::string_view bytes) {
    if (!clearWorkingPlace()) {
        return false;
    }
    if (writeAll(descriptor, bytes) != 0) {
        clearWorkingPlace();
        return false;
    }
    return true;
}

std::optional<std::string> vel::readWorkingPlace() {
    std::string bytes;
    const bool isRead = goToStart() && readAll(descriptor, bytes, maximumCertificateBytes) == 0;
    return isRead ? std::optional(std::move(bytes)) : std::nullopt;
}
