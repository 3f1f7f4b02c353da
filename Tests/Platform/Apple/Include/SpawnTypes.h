// SPDX-License-Identifier: Apache-2.0
#pragma once

#define POSIX_SPAWN_CLOEXEC_DEFAULT 0x4000
