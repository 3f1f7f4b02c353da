// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "DispatchTypes.h"

#include "DispatchFunctions.h"
