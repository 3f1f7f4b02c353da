// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "CommonDigestTypes.h"

#include "CommonDigestFunctions.h"
