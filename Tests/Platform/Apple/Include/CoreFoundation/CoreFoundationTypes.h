// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

// NOLINTBEGIN: names, kinds and underlying types are the system's.

using Boolean = unsigned char;
using UInt8 = unsigned char;
using UInt16 = unsigned short;
using UInt32 = unsigned int;
using SInt32 = int;
using OSStatus = SInt32;
using UniChar = UInt16;

using CFIndex = long;
using CFTypeID = unsigned long;
using CFOptionFlags = unsigned long;
using CFHashCode = unsigned long;
using CFStringEncoding = UInt32;
using CFTimeInterval = double;
using CFAbsoluteTime = CFTimeInterval;

using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;
using CFAllocatorRef = const struct __CFAllocator*;
using CFStringRef = const struct __CFString*;
using CFBooleanRef = const struct __CFBoolean*;
using CFNumberRef = const struct __CFNumber*;
using CFDateRef = const struct __CFDate*;
using CFDataRef = const struct __CFData*;
using CFArrayRef = const struct __CFArray*;
using CFDictionaryRef = const struct __CFDictionary*;
using CFMutableDictionaryRef = struct __CFDictionary*;
using CFNullRef = const struct __CFNull*;
using CFURLRef = const struct __CFURL*;
using CFErrorRef = struct __CFError*;
using CFErrorDomain = CFStringRef;

struct CFRange {
    CFIndex location;
    CFIndex length;
};

inline CFRange CFRangeMake(CFIndex location, CFIndex length) {
    return {location, length};
}

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

enum CFNumberType : CFIndex {
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat64Type = 6,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14,
};

struct CFArrayCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
};

struct CFDictionaryKeyCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
};

struct CFDictionaryValueCallBacks {
    CFIndex version;
    const void* (*retain)(CFAllocatorRef, const void*);
    void (*release)(CFAllocatorRef, const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
};

/// A constant string: never released.
#define CFSTR(text) __CFStringMakeConstantString("" text "")

// NOLINTEND
