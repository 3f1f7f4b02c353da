// SPDX-License-Identifier: Apache-2.0
#include "vel_device_trust/vel_device_trust_c.h"

#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <link.h>

// A host that loads the library at the path given and asks it a question at a time. After each step
// it prints the shared libraries that are loaded and the KiB of memory that it alone has written
// to. It uses nothing of the C++ runtime, which the library then brings along.

namespace {

int libraryCount() {
    int count = 0;
    dl_iterate_phdr(
        [](dl_phdr_info* object, std::size_t /*size*/, void* counter) {
            *static_cast<int*>(counter) += *object->dlpi_name == '/' ? 1 : 0;
            return 0;
        },
        &count);
    return count;
}

long writtenKiB() {
    std::FILE* file = std::fopen("/proc/self/smaps_rollup", "re");
    long amount = -1;
    char line[256];
    while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
        std::sscanf(line, "Anonymous: %ld", &amount);
    }
    if (file != nullptr) {
        std::fclose(file);
    }
    return amount;
}

void report(const char* step) {
    std::printf("%s\t%d\t%ld\n", step, libraryCount(), writtenKiB());
    std::fflush(stdout);
}

template <typename Function> bool find(void* library, const char* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    return function != nullptr;
}

} // namespace

int main(int argumentCount, char** arguments) {
    decltype(vel_runner_create)* create = nullptr;
    decltype(vel_runner_run)* run = nullptr;
    decltype(vel_result_free)* release = nullptr;
    report("a host before it loads the library");
    void* library = argumentCount == 2 ? dlopen(arguments[1], RTLD_NOW) : nullptr;
    if (library == nullptr || !find(library, "vel_runner_create", create) ||
        !find(library, "vel_runner_run", run) || !find(library, "vel_result_free", release)) {
        std::fprintf(stderr, "usage: host-memory LIBRARY\n");
        return 2;
    }
    const vel_runner* runner = create(nullptr, nullptr, nullptr);
    report("with the library loaded");
    const char* const types[] = {"minimumOSVersion\",\"version\":\"1.0", "localFirewall"};
    const char* const steps[] = {"after \"minimumOSVersion\"", "after \"localFirewall\""};
    for (int i = 0; i < 2; ++i) {
        char request[128];
        std::snprintf(request, sizeof request, "{\"mac\":[{\"type\":\"%s\"}]}", types[i]);
        char* result = run(runner, request, std::strlen(request), nullptr);
        const bool isAnswered = std::strstr(result, "\"checks\"") != nullptr;
        release(result);
        if (!isAnswered) {
            return 1;
        }
        report(steps[i]);
    }
    return 0;
}
