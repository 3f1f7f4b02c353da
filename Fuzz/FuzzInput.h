// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

/// The bytes that a fuzz target is given, as text.
inline std::string_view fuzzText(const std::uint8_t* data, std::size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

/// Ends the target, which the fuzzer reports with the input, unless `condition` holds.
inline void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}
