// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Fuzz/PropertyListInvariants.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    checkReadingPropertyList(fuzzText(data, size));
    return 0;
}
