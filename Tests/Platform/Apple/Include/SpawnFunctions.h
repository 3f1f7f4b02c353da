// SPDX-License-Identifier: Apache-2.0
#pragma once

#ifndef VEL_LINKER_NAME
#define VEL_LINKER_NAME(name)
#endif

// NOLINTBEGIN

extern "C" {

int posix_spawnattr_init(posix_spawnattr_t* attributes) VEL_LINKER_NAME(posix_spawnattr_init);
int posix_spawnattr_destroy(posix_spawnattr_t* attributes) VEL_LINKER_NAME(posix_spawnattr_destroy);
int posix_spawnattr_getflags(const posix_spawnattr_t* attributes, short* flags)
    VEL_LINKER_NAME(posix_spawnattr_getflags);
int posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags)
    VEL_LINKER_NAME(posix_spawnattr_setflags);
int posix_spawnattr_setsigdefault(posix_spawnattr_t* attributes, const sigset_t* signals)
    VEL_LINKER_NAME(posix_spawnattr_setsigdefault);
int posix_spawnattr_setsigmask(posix_spawnattr_t* attributes, const sigset_t* signals)
    VEL_LINKER_NAME(posix_spawnattr_setsigmask);

int posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions)
    VEL_LINKER_NAME(posix_spawn_file_actions_init);
int posix_spawn_file_actions_destroy(posix_spawn_file_actions_t* actions)
    VEL_LINKER_NAME(posix_spawn_file_actions_destroy);
int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int descriptor,
                                     int newDescriptor)
    VEL_LINKER_NAME(posix_spawn_file_actions_adddup2);
int posix_spawn_file_actions_addopen(posix_spawn_file_actions_t* actions, int descriptor,
                                     const char* path, int flags, mode_t mode)
    VEL_LINKER_NAME(posix_spawn_file_actions_addopen);
int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* actions, int descriptor)
    VEL_LINKER_NAME(posix_spawn_file_actions_addinherit_np);

int posix_spawn(pid_t* process, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[],
                char* const environment[]) VEL_LINKER_NAME(posix_spawn);

} // extern "C"

// NOLINTEND
