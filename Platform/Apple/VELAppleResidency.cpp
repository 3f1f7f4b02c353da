// SPDX-License-Identifier: Apache-2.0

#include <dlfcn.h>

namespace {

/// Keeps this library in memory for good: a block that the system's queue runs later is code of it.
/// The linker of the Mac has no such setting, so that the library opens itself while it is loaded.
bool stayLoaded() {
    Dl_info image = {};
    static const char address = 0;
    return ::dladdr(&address, &image) != 0 &&
           ::dlopen(image.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE) != nullptr;
}

[[maybe_unused]] const bool staysLoaded = stayLoaded();

} // namespace
