// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

/// The texts of errors that say what is wrong with a request. The program's lint shows them too.
namespace vel::errortext {

inline constexpr const char* invalidVersionType = "Invalid version type in OS version check.";
inline constexpr const char* processNameMissing =
    "Process name missing from process running check.";

/// `parameter`: its path in the entry, such as "processes[0].name".
inline std::string notAString(std::string_view parameter) {
    return std::string(parameter) + " is not a string";
}

inline std::string notAnArray(std::string_view parameter) {
    return std::string(parameter) + " is not an array";
}

inline std::string notAnObject(std::string_view parameter) {
    return std::string(parameter) + " is not an object";
}

} // namespace vel::errortext
