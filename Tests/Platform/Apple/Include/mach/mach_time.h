// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mach/kern_return.h>

#include "MachTimeTypes.h"

#include "MachTimeFunctions.h"
