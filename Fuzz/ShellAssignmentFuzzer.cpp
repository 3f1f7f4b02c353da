// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELFirewallState.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// A value is part of a line that assigns it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view file = fuzzText(data, size);
    const auto value = vel::assignedValue(file, "ENABLED");
    const bool isAssigned = file.find("ENABLED=") != std::string_view::npos;
    if (value.find('\n') != std::string::npos || (!value.empty() && !isAssigned)) {
        std::abort();
    }
    return 0;
}
