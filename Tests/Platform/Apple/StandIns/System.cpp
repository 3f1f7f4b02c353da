// SPDX-License-Identifier: Apache-2.0
//
// The mount table, the processor's counter and the work queues.
#include "Platform/POSIX/VELPOSIXWorkQueue.h"
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"

#include <crt_externs.h>
#include <dispatch/dispatch.h>
#include <mach/mach_time.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>

#include <sys/mount.h>
#include <unistd.h>

namespace {

using standin::FallibleCall;

// Nanoseconds for each unit of the counter, as on the newer processors.
constexpr std::uint32_t numerator = 125;
constexpr std::uint32_t denominator = 3;

template <std::size_t size> void setText(char (&array)[size], const std::string& text) {
    std::memcpy(array, text.data(), std::min(text.size(), size));
}

std::mutex queuesMutex;

struct GlobalQueue : dispatch_queue_global_s {
    std::intptr_t identifier = 0;
    std::uintptr_t flags = 0;
};

} // namespace

extern "C" {

int getmntinfo_r_np(struct statfs** mounts, int flags) {
    const FallibleCall call("getmntinfo_r_np", standin::withStatus);
    const auto& described = StandInMac::current().described.disks.mounts;
    if (flags != 0) {
        standin::abortOn("a mount table with flags");
    }
    if (call.fails() || !described) {
        return call.failsWithoutStatus() ? 0 : -1;
    }
    // Longer than the largest of texts, to be cut there and not to be read beyond.
    auto* const entries = static_cast<struct statfs*>(
        std::calloc(std::max<std::size_t>(described->size(), 1), sizeof(struct statfs)));
    for (std::size_t index = 0; index < described->size(); ++index) {
        setText(entries[index].f_fstypename, (*described)[index].fileSystemType);
        setText(entries[index].f_mntonname, (*described)[index].mountPoint);
        const std::string& device = (*described)[index].device;
        setText(entries[index].f_mntfromname, device.empty() ? "map auto_home" : "/dev/" + device);
    }
    *mounts = entries;
    return static_cast<int>(described->size());
}

char*** _NSGetEnviron() {
    return &environ;
}

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
    *info = {numerator, denominator};
    return KERN_SUCCESS;
}

uint64_t mach_absolute_time() {
    if (const auto time = StandInMac::current().absoluteTime) {
        return *time;
    }
    const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    return static_cast<std::uint64_t>(nanoseconds.count()) / numerator * denominator;
}

dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta) {
    if (when != DISPATCH_TIME_NOW || delta < 0) {
        standin::abortOn("a moment that is not modelled");
    }
    const std::scoped_lock lock(queuesMutex);
    StandInMac::current().delays.push_back(delta);
    const std::uint64_t moment = mach_absolute_time();
    const std::uint64_t units = static_cast<std::uint64_t>(delta) / numerator * denominator;
    return moment + units < static_cast<std::uint64_t>(INT64_MAX) ? moment + units
                                                                  : DISPATCH_TIME_FOREVER;
}

dispatch_queue_global_t dispatch_get_global_queue(intptr_t identifier, uintptr_t flags) {
    static auto* const queues = new std::map<std::pair<std::intptr_t, std::uintptr_t>, GlobalQueue>;
    const std::scoped_lock lock(queuesMutex);
    GlobalQueue& queue = (*queues)[{identifier, flags}];
    queue.identifier = identifier;
    queue.flags = flags;
    return &queue;
}

void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context,
                      dispatch_function_t work) {
    {
        const std::scoped_lock lock(queuesMutex);
        const auto* global = static_cast<const GlobalQueue*>(queue);
        StandInMac::current().deferredBlocks.push_back({when, global->identifier, global->flags});
    }
    if (when == DISPATCH_TIME_FOREVER) {
        return; // never: what it holds is kept
    }
    const std::uint64_t moment = mach_absolute_time();
    const std::uint64_t units = when > moment ? when - moment : 0;
    const std::chrono::nanoseconds delay(
        static_cast<std::int64_t>(units / denominator * numerator));
    VELPOSIXWorkQueue().after(delay, [work, context] { work(context); });
}

} // extern "C"
