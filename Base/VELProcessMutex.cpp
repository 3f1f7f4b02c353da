// SPDX-License-Identifier: Apache-2.0
#include "Base/VELProcessMutex.h"

#include <pthread.h>

std::mutex& processMutex() {
    // Never destroyed: threads of the host may still need it while the process exits.
    static std::mutex& mutex = *new std::mutex;
    return mutex;
}

namespace {

// Whoever forks waits until no other thread holds the mutex. Registered when the library is loaded,
// before any thread can fork.
const int forkHandlerFailure =
    ::pthread_atfork([] { processMutex().lock(); }, [] { processMutex().unlock(); },
                     [] { processMutex().unlock(); });

} // namespace
