// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Apple/VELCFReference.h"
#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Between CoreFoundation and the library's own values. Objects are lent by the caller and may be
/// null. What is made is none when memory is short.
namespace vel {

/// Whether `object` is there and of the type.
bool isOfType(CFTypeRef object, CFTypeID type);

/// What a property list or a description holds. A date becomes its ISO 8601 text, data their base64
/// text; integers of 64 bits, signed and unsigned, stay exact. Absent: null, an object of another
/// type, a text that is no valid Unicode, a date outside the years 0 to 9999, a key that is no
/// string, containers nested deeper than a property list may be, or a container with one of these.
std::optional<VELValue> valueOfObject(CFTypeRef object);

/// UTF-8. Absent: null, no string, or one that is no valid Unicode (half a surrogate pair).
std::optional<std::string> textOfObject(CFTypeRef object);

/// Absent: null or no data.
std::optional<std::string> bytesOfObject(CFTypeRef object);

/// An error of the system, its text under "NSLocalizedDescription". With null, an error of
/// "NSOSStatusErrorDomain" that says that an internal component failed.
VELError errorOfObject(CFErrorRef object);

/// None: `text` is not UTF-8. Do not begin it with U+FEFF, which is dropped.
VELCFReference<CFStringRef> stringOfText(std::string_view text);

VELCFReference<CFDataRef> dataOfBytes(std::string_view bytes);

/// None also when the object is null.
VELCFReference<CFArrayRef> arrayOfOne(CFTypeRef object);

/// The keys must differ. None also when a key or a value is null.
VELCFReference<CFDictionaryRef>
dictionaryOf(std::initializer_list<std::pair<CFTypeRef, CFTypeRef>> entries);

} // namespace vel
