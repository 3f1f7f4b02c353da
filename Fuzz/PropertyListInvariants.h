// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELJSON.h"
#include "Base/VELPropertyList.h"
#include "Base/VELText.h"
#include "Fuzz/FuzzInput.h"

#include <nlohmann/json.hpp>

#include <string_view>

/// Whatever the bytes hold, there is either a value that JSON holds without loss (so it is bounded
/// in depth, its strings are UTF-8 and its numbers finite), or an error that says why not.
inline void checkReadingPropertyList(std::string_view bytes) {
    std::optional<VELError> error;
    const auto value = vel::readPropertyList(bytes, &error);
    require(value.has_value() != error.has_value());
    if (error) {
        require(error->domain() == "NSCocoaErrorDomain" && error->code() == 3840);
        require(vel::isValidUTF8(error->message()) && error->message().size() < 1024);
        return;
    }
    const auto text = vel::writeJSON(*value, nullptr);
    require(text.has_value());
    const auto again = vel::readJSON(*text, nullptr);
    require(again && *again == *value && vel::writeJSON(*again, nullptr) == text);
}
