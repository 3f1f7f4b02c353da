// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Platform/Linux/VELLinuxMountInfo.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Whatever the text holds, there is one mount for each line or no table, and every mount point is
/// an absolute path without NUL of its own making.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    const auto mounts = vel::mountsInMountInfo(text);
    if (!mounts) {
        return 0;
    }
    const bool isOpenEnded = !text.empty() && text.back() != '\n';
    const auto lines = std::ranges::count(text, '\n') + (isOpenEnded ? 1 : 0);
    const auto isPath = [&](const VELLinuxMount& mount) {
        const bool holdsNUL = mount.mountPoint.find('\0') != std::string::npos;
        return mount.mountPoint.starts_with('/') &&
               (!holdsNUL || text.find('\0') != std::string_view::npos);
    };
    if (mounts->size() != static_cast<std::size_t>(lines) ||
        !std::ranges::all_of(*mounts, isPath)) {
        std::abort();
    }
    return 0;
}
