// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"

#include <array>
#include <csignal>
#include <optional>
#include <spawn.h>
#include <sys/types.h>

/// Where the platforms differ in how they run a child process. Each platform's folder defines
/// these, but for `addSpawnFlags`.
namespace vel::child {

/// The reading and the writing end of a new pipe, which no program started by this process
/// inherits. Absent: no descriptor is left, and `errno` says why.
std::optional<std::array<VELDescriptor, 2>> makePipe();

/// The environment of this process, as `posix_spawn` takes it.
char** environment();

/// Makes the child start with no descriptor of this process from `first` on. Returns 0, or an error
/// number.
int closeInheritedDescriptors(posix_spawn_file_actions_t* actions, posix_spawnattr_t* attributes,
                              int first);

/// Adds `flags` to those that the attributes have already. Returns 0, or an error number.
int addSpawnFlags(posix_spawnattr_t* attributes, short flags);

/// A descriptor that stands for this process's child `process` even after its number belongs to
/// another. None where the machine has no such thing.
VELDescriptor openHandle(pid_t process);

/// Whether the process behind the handle is still running, or the system does not tell.
bool isRunning(const VELDescriptor& handle);

/// Sends a signal to the process behind the handle. False: the system does not offer this way.
bool sendSignal(const VELDescriptor& handle, int signal);

/// As `waitid` for the child behind the handle, with `EINVAL` where the machine has no such way.
int waitForExit(const VELDescriptor& handle, siginfo_t& information, int options);

} // namespace vel::child
