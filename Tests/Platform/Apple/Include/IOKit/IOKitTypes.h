// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <mach/kern_return.h>

// NOLINTBEGIN

using mach_port_t = unsigned int;
using io_object_t = mach_port_t;
using io_service_t = io_object_t;
using io_registry_entry_t = io_object_t;
using IOOptionBits = UInt32;

#define IO_OBJECT_NULL 0U
#define KERN_INVALID_NAME 15

// NOLINTEND
