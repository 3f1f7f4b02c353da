// SPDX-License-Identifier: Apache-2.0
#pragma once

// The C library of another system has these names with types of its own: the stand-ins stand beside
// its functions, under other names for the linker.
#define VEL_LINKER_NAME(name) __asm__("stand_in_" #name)

#include "SpawnTypes.h"

#include "SpawnFunctions.h"
