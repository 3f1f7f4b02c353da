// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELPropertyList.h"

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>

/// What reading a property list came to, to compare with a text: the value as compact JSON, which
/// tells 5 from 5.0, or "error: " and what the error says after its opening words.
inline std::string readAsText(std::string_view bytes) {
    std::optional<VELError> error;
    const auto value = vel::readPropertyList(bytes, &error);
    if (value) {
        return error ? "a value and an error" : value->dump();
    }
    if (!error || error->domain() != "NSCocoaErrorDomain" || error->code() != 3840) {
        return "neither a value nor the error of the property list reader";
    }
    constexpr std::string_view opening = "The property list cannot be read: ";
    const std::string text = error->message();
    return text.starts_with(opening) ? "error: " + text.substr(opening.size()) : text;
}
