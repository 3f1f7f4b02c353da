// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

extern const mach_port_t kIOMainPortDefault;

/// The result is owned by the caller, who hands it to IOServiceGetMatchingService.
CFMutableDictionaryRef IOServiceMatching(const char* name);

/// Releases `matching`, also when it fails.
io_service_t IOServiceGetMatchingService(mach_port_t mainPort, CFDictionaryRef matching);

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t entry, CFStringRef key,
                                          CFAllocatorRef allocator, IOOptionBits options);
kern_return_t IOObjectRelease(io_object_t object);

} // extern "C"

// NOLINTEND
