// SPDX-License-Identifier: Apache-2.0
#include "Base/VELShellVariable.h"
#include "Fuzz/FuzzInput.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// A value belongs to a name that stands in the text, and no longer than the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    const auto value = vel::shellVariable(text, "ENABLED");
    if (value && (value->size() > text.size() || value->find('\0') != std::string::npos)) {
        std::abort();
    }
    return 0;
}
