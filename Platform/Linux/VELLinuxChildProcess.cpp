// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELChildProcess.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

// Neither is in the headers of every C library that has what else is needed.
constexpr auto pidfdIdentifier = static_cast<idtype_t>(3);

} // namespace

std::optional<std::array<VELDescriptor, 2>> vel::child::makePipe() {
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return std::nullopt;
    }
    return std::array{VELDescriptor(ends[0]), VELDescriptor(ends[1])};
}

char** vel::child::environment() {
    return environ;
}

int vel::child::closeInheritedDescriptors(posix_spawn_file_actions_t* actions,
                                          posix_spawnattr_t* /*attributes*/, int first) {
    return ::posix_spawn_file_actions_addclosefrom_np(actions, first);
}

VELDescriptor vel::child::openHandle(pid_t process) {
    return VELDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
}

bool vel::child::isRunning(const VELDescriptor& handle) {
    pollfd exited = {handle.get(), POLLIN, 0};
    int count = 0;
    do {
        count = ::poll(&exited, 1, 0);
    } while (count < 0 && errno == EINTR);
    return count <= 0; // a failure does not tell that it has exited
}

bool vel::child::sendSignal(const VELDescriptor& handle, int signal) {
    return ::syscall(SYS_pidfd_send_signal, handle.get(), signal, nullptr, 0) == 0 ||
           errno == ESRCH;
}

int vel::child::waitForExit(const VELDescriptor& handle, siginfo_t& information, int options) {
    return ::waitid(pidfdIdentifier, static_cast<id_t>(handle.get()), &information, options);
}
