// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELXMLText.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace propertyListText {

inline std::string element(const nlohmann::json& value) {
    if (value.is_boolean()) {
        return value.get<bool>() ? "<true/>" : "<false/>";
    }
    if (value.is_number_integer()) {
        return "<integer>" + value.dump() + "</integer>";
    }
    if (value.is_number_float()) {
        return "<real>" + value.dump() + "</real>";
    }
    if (value.is_string()) {
        return "<string>" + vel::escapedForXML(value.get<std::string>()) + "</string>";
    }
    std::string text;
    if (value.is_array()) {
        for (const auto& inner : value) {
            text += element(inner);
        }
        return "<array>" + text + "</array>";
    }
    if (value.is_object()) {
        for (const auto& [key, inner] : value.items()) {
            text += "<key>" + vel::escapedForXML(key) + "</key>" + element(inner);
        }
        return "<dict>" + text + "</dict>";
    }
    throw std::invalid_argument("a property list holds no such value");
}

} // namespace propertyListText

/// `value` as a property list in XML.
inline std::string propertyListXML(const nlohmann::json& value) {
    return R"(<?xml version="1.0" encoding="UTF-8"?>)"
           "\n<plist version=\"1.0\">" +
           propertyListText::element(value) + "</plist>\n";
}
