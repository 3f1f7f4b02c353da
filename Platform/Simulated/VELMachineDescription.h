// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "vel_device_trust/VELValue.h"

#include <memory>
#include <string>
#include <string_view>

namespace vel {

/// Reads a described Mac, a JSON object, into a platform that answers what it says:
///
///     {"name": "a laptop", "productVersion": "14.5", "serialNumber": "C02EXAMPLE",
///      "preferences": {"machine": {"com.vel.deviceId": {"deviceId": "machine-7"}}, "user": {}},
///      "files": {"/etc/a": "text", "/etc/b": {"base64": "AAEC"}, "/etc/c": {"unreadable": true}},
///      "diskSession": true,
///      "mounts": [{"type": "apfs", "path": "/", "device": "disk3s1s1",
///                  "disk": {"description": {"internal": true, "protocol": "PCI", "kind": "apfs"},
///                           "media": {"Sealed": "No", "Role": ["Data"], "Encrypted": true,
///                                     "CoreStorage Encrypted": false}}}]}
///
/// A file is its text or its bytes, or is there but cannot be read. "mounts" of null are a mount
/// table that cannot be read; a mount without "disk" yields no disk object; what a description and
/// a media object hold may be of any JSON type, as a wrongly typed property of a Mac may be. A text
/// of a mount or of a tool's launch that is not UTF-8 is {"base64": ...}. The format has more keys,
/// of tools and of the keychain: its schema says what they mean.
///
/// Every key is optional; what is not described is absent. Of equal keys the last one counts.
///
/// Nothing on failure, with a text in `error` (which may be null) that says what is wrong and
/// where: of the JSON reader; an unknown key ('unknown key "x"', 'unknown key "x" in preferences');
/// a value of a wrong type, null included ('preferences.machine["com.vel.deviceId"] is not an
/// object'). A place is written with the description's own keys after dots, names that its author
/// chose in brackets and quotes, and positions in lists in brackets, from 0.
std::shared_ptr<VELSimulatedPlatform> machineFromDescription(std::string_view text,
                                                             std::string* error);

/// The same for a description that has been read.
std::shared_ptr<VELSimulatedPlatform> machineFromValue(const VELValue& description,
                                                       std::string* error);

} // namespace vel
