// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>

namespace {

/// After a call that failed: whether to try again, after waiting for a descriptor that does not
/// block.
bool mayTryAgain(int descriptor, short events) noexcept {
    if (errno == EAGAIN || errno == EWOULDBLOCK) {
        pollfd waited{descriptor, events, 0};
        return ::poll(&waited, 1, -1) >= 0 || errno == EINTR;
    }
    return errno == EINTR;
}

} // namespace

void VELDescriptor::close() noexcept {
    if (_descriptor < 0) {
        return;
    }
    const int before = errno;
    // Not tried again when interrupted: the descriptor is gone then, and may be somebody else's.
    ::close(std::exchange(_descriptor, -1));
    errno = before;
}

void VELDescriptor::moveAboveStandardStreams() {
    if (_descriptor >= 0 && _descriptor <= STDERR_FILENO) {
        *this = VELDescriptor(::fcntl(_descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    }
}

int vel::readAll(int descriptor, std::string& bytes, std::size_t maximumBytes) {
    // Not by the size that a file reports: pseudo files report 0 or a page.
    constexpr std::size_t firstChunk = 4096;
    bytes.clear();
    for (std::size_t length = 0;;) {
        if (length == bytes.size()) {
            bytes.resize(std::min(std::max(firstChunk, 2 * length), maximumBytes + 1));
        }
        const ssize_t count = ::read(descriptor, bytes.data() + length, bytes.size() - length);
        if (count == 0) {
            bytes.resize(length);
            return 0;
        }
        if (count < 0 && !mayTryAgain(descriptor, POLLIN)) {
            return errno;
        }
        length += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        if (length > maximumBytes) {
            return EFBIG;
        }
    }
}

int vel::writeAll(int descriptor, std::string_view text) noexcept {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && !mayTryAgain(descriptor, POLLOUT)) {
            return errno;
        }
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return 0;
}
