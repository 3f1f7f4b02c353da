// SPDX-License-Identifier: Apache-2.0
#include "Platform/POSIX/VELPOSIXWorkQueue.h"

#include <csignal>
#include <future>
#include <gtest/gtest.h>

namespace {

TEST(POSIXWorkQueue, TakesNoSignalOfTheHost) {
    std::promise<sigset_t> mask;
    ASSERT_TRUE(VELPOSIXWorkQueue().after(std::chrono::nanoseconds(0), [&mask] {
        sigset_t blocked;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
        mask.set_value(blocked);
    }));
    const sigset_t blocked = mask.get_future().get();
    for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGCHLD, SIGALRM, SIGPIPE, SIGUSR1, SIGPROF,
                             SIGWINCH, SIGRTMIN, SIGRTMAX}) {
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    }
}

} // namespace
