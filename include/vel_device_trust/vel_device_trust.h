// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Everything that a host of the library sees.

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELExport.h"
#include "vel_device_trust/VELHostLogger.h"
#include "vel_device_trust/VELPostureCheckErrors.h"
#include "vel_device_trust/VELPostureCheckItem.h"
#include "vel_device_trust/VELPostureCheckRunner.h"
#include "vel_device_trust/VELValue.h"

/// The version of the library's interface: 1.0.
extern "C" VEL_EXPORT const double vel_device_trustVersionNumber;

/// Identifies the build: the library's name and full version, such as "vel_device_trust 1.0.0".
extern "C" VEL_EXPORT const char* const vel_device_trustVersionString;
