// SPDX-License-Identifier: Apache-2.0
#include "Base/VELProcessMutex.h"
#include "Platform/POSIX/VELChildProcess.h"

#include <array>
#include <cerrno>
#include <crt_externs.h>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace {

bool closeOnExec(const VELDescriptor& descriptor) {
    return ::fcntl(descriptor.get(), F_SETFD, FD_CLOEXEC) == 0;
}

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

} // namespace

std::optional<std::array<VELDescriptor, 2>> vel::child::makePipe() {
    // Whoever forks waits for this mutex: no child is forked between the two steps. One that the
    // host spawns then may hold the pipe, and the run reads up to its deadline at most.
    const std::scoped_lock lock(processMutex());
    std::array<int, 2> numbers = {};
    if (::pipe(numbers.data()) != 0) {
        return std::nullopt;
    }
    std::array ends = {VELDescriptor(numbers[0]), VELDescriptor(numbers[1])};
    if (!closeOnExec(ends[0]) || !closeOnExec(ends[1])) {
        return std::nullopt;
    }
    return ends;
}

char** vel::child::environment() {
    // A library of the Mac cannot name the variable itself.
    return *::_NSGetEnviron();
}

int vel::child::closeInheritedDescriptors(posix_spawn_file_actions_t* actions,
                                          posix_spawnattr_t* attributes, int /*first*/) {
    // Nothing is inherited from now on but what an action names, and a standard stream that is
    // closed here must not be named.
    if (const int error = addSpawnFlags(attributes, POSIX_SPAWN_CLOEXEC_DEFAULT)) {
        return error;
    }
    for (const int stream : {STDIN_FILENO, STDERR_FILENO}) {
        const int error =
            isOpen(stream) ? ::posix_spawn_file_actions_addinherit_np(actions, stream) : 0;
        if (error != 0) {
            return error;
        }
    }
    return 0;
}

// The Mac has no handles for processes: a child is signalled and waited for by its number.

VELDescriptor vel::child::openHandle(pid_t /*process*/) {
    return {};
}

bool vel::child::isRunning(const VELDescriptor& /*handle*/) {
    return false;
}

bool vel::child::sendSignal(const VELDescriptor& /*handle*/, int /*signal*/) {
    return false;
}

int vel::child::waitForExit(const VELDescriptor& /*handle*/, siginfo_t& /*information*/,
                            int /*options*/) {
    errno = EINVAL;
    return -1;
}
