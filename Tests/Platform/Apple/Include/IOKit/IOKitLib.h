// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include "IOKitTypes.h"

#include "IOKitFunctions.h"
