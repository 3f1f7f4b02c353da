// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELFileReader.h"

#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
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

/// The bytes read, 0 at the end, negative on failure.
ssize_t readOnce(int descriptor, char* buffer, std::size_t size) {
    ssize_t count = -1;
    do {
        count = ::read(descriptor, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

VELFileContents readToEnd(int descriptor, std::size_t maximumBytes) {
    // The size that a file tells is not its length: pseudo files tell 0 or a page.
    constexpr std::size_t firstChunk = 4096;
    std::string bytes;
    std::size_t length = 0;
    for (;;) {
        if (length == bytes.size()) {
            bytes.resize(std::min(std::max(firstChunk, 2 * length), maximumBytes + 1));
        }
        const ssize_t count = readOnce(descriptor, bytes.data() + length, bytes.size() - length);
        if (count < 0) {
            return {VELFileStatus::unreadable, {}};
        }
        if (count == 0) {
            bytes.resize(length);
            return {VELFileStatus::read, std::move(bytes)};
        }
        length += static_cast<std::size_t>(count);
        if (length > maximumBytes) {
            return {VELFileStatus::tooLarge, {}};
        }
    }
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
    return readToEnd(file.get(), maximumBytes);
}

} // namespace vel
