// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include "DiskArbitrationTypes.h"

#include "DiskArbitrationFunctions.h"
