// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Fuzz/FuzzInput.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What is read strictly is read the same when unknown characters are skipped, and what was read is
/// read again from its own text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    const auto strict = vel::bytesOfBase64(text);
    const auto lenient = vel::bytesOfBase64IgnoringUnknown(text);
    require(!strict || strict == lenient);
    if (lenient) {
        require(lenient->size() <= size / 4 * 3);
        require(vel::bytesOfBase64(vel::base64Text(*lenient)) == lenient);
    }
    require(vel::bytesOfBase64(vel::base64Text(text)) == text);
    return 0;
}
