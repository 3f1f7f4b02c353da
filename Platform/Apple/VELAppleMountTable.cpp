// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleMountTable.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/param.h>

#include <sys/mount.h>

namespace {

template <std::size_t size> std::string textOf(const char (&array)[size]) {
    return {array, ::strnlen(array, size)};
}

} // namespace

std::optional<std::vector<VELMount>> vel::appleMountTable() {
    // With a buffer of its own: the one of getmntinfo is the process's, for all threads.
    struct statfs* entries = nullptr;
    const int count = ::getmntinfo_r_np(&entries, 0);
    const std::unique_ptr<struct statfs, decltype(&std::free)> owner(entries, &std::free);
    if (count < 0) {
        return std::nullopt;
    }
    std::vector<VELMount> mounts;
    for (int index = 0; index < count; ++index) {
        mounts.push_back({textOf(entries[index].f_fstypename), textOf(entries[index].f_mntonname),
                          VELMount::deviceOfSource(textOf(entries[index].f_mntfromname))});
    }
    return mounts;
}
