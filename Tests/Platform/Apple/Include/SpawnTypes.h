// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csignal>

#include <sys/types.h>

// NOLINTBEGIN

using posix_spawnattr_t = void*;
using posix_spawn_file_actions_t = void*;

#define POSIX_SPAWN_SETSIGDEF 0x0004
#define POSIX_SPAWN_SETSIGMASK 0x0008
#define POSIX_SPAWN_CLOEXEC_DEFAULT 0x4000

// NOLINTEND
