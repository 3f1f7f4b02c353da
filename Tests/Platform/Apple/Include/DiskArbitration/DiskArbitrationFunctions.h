// SPDX-License-Identifier: Apache-2.0
#pragma once

// NOLINTBEGIN

extern "C" {

extern const CFStringRef kDADiskDescriptionDeviceInternalKey;
extern const CFStringRef kDADiskDescriptionDeviceProtocolKey;
extern const CFStringRef kDADiskDescriptionVolumeKindKey;

CFTypeID DASessionGetTypeID(void);
DASessionRef DASessionCreate(CFAllocatorRef allocator);
CFTypeID DADiskGetTypeID(void);
DADiskRef DADiskCreateFromVolumePath(CFAllocatorRef allocator, DASessionRef session, CFURLRef path);
CFDictionaryRef DADiskCopyDescription(DADiskRef disk);
io_service_t DADiskCopyIOMedia(DADiskRef disk);

} // extern "C"

// NOLINTEND
