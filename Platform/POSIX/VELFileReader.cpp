// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELFileReader.h"

#include "Platform/POSIX/VELDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel {
namespace {

int openForReading(const std::string& path) {
    int descriptor = -1;
    do {
        descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

bool isRegularFile(int descriptor) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

} // namespace

VELFileContents readFile(const std::string& path, std::size_t maximumBytes) {
    // The system would read such a name up to its NUL, and open another file.
    if (path.find('\0') != std::string::npos) {
        return {VELFileStatus::missing, {}};
    }
    const VELDescriptor file(openForReading(path));
    if (file.get() < 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
        return {missing ? VELFileStatus::missing : VELFileStatus::unreadable, {}};
    }
    if (!isRegularFile(file.get())) {
        return {VELFileStatus::unreadable, {}};
    }
    std::string bytes;
    switch (readAll(file.get(), bytes, maximumBytes)) {
    case 0:
        return {VELFileStatus::read, std::move(bytes)};
    case EFBIG:
        return {VELFileStatus::tooLarge, {}};
    default:
        return {VELFileStatus::unreadable, {}};
    }
}

} // namespace vel
