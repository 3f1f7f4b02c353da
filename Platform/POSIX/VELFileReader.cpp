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

FileContents readFile(const std::string& path, std::size_t maximumBytes) {
    // The system would read such a name up to its NUL, and open another file.
    if (path.find('\0') != std::string::npos) {
        return {FileStatus::missing, {}};
    }
    const VELDescriptor file(openForReading(path));
    if (file.get() < 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR || errno == ENAMETOOLONG;
        return {missing ? FileStatus::missing : FileStatus::unreadable, {}};
    }
    if (!isRegularFile(file.get())) {
        return {FileStatus::unreadable, {}};
    }
    std::string bytes;
    switch (readAll(file.get(), bytes, maximumBytes)) {
    case 0:
        return {FileStatus::read, std::move(bytes)};
    case EFBIG:
        return {FileStatus::tooLarge, {}};
    default:
        return {FileStatus::unreadable, {}};
    }
}

} // namespace vel
