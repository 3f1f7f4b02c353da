// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleProductVersion.h"

#include "Base/VELJSON.h"
#include "Base/VELPropertyList.h"

#include <nlohmann/json.hpp>

std::optional<std::string> vel::appleProductVersion(const VELFiles& files) {
    const auto bytes = files.read("/System/Library/CoreServices/SystemVersion.plist");
    const auto record = bytes ? readPropertyList(*bytes, nullptr) : std::nullopt;
    const VELValue* version = record ? valueUnder("ProductVersion", *record) : nullptr;
    if (version == nullptr || !version->is_string()) {
        return std::nullopt;
    }
    return version->get<std::string>();
}
