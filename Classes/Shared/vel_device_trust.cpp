// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/vel_device_trust.h"

const double vel_device_trustVersionNumber = 1.0;
const char* const vel_device_trustVersionString = "vel_device_trust " VEL_PROJECT_VERSION;
