// SPDX-License-Identifier: Apache-2.0
#pragma once

#include_next <spawn.h>

#include "SpawnTypes.h"

#include "SpawnFunctions.h"
