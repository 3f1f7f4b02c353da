// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELValue.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>

/// Between the library's values and CoreFoundation, through its public calls. Not the product's own
/// conversion, which is what the tests judge.
namespace standin {

/// A new reference. Null is CFNull.
CFTypeRef copyValue(const VELValue& value);
CFStringRef copyString(std::string_view text);
CFDataRef copyData(std::string_view bytes);

std::string textOf(CFStringRef string);
std::string bytesOf(CFDataRef data);

/// A number, boolean, text, list or dictionary as it is; data as hexadecimal text; CFNull is null.
VELValue readable(CFTypeRef object);

} // namespace standin
