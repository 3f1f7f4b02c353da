// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELConfinedWork.h"
#include "Helpers/Linux/VELToolCommandLine.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <algorithm>
#include <csignal>
#include <exception>
#include <fcntl.h>
#include <limits>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vel {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int resultDescriptor = STDERR_FILENO + 1;

/// Waits for the child to exit; false when it still runs at the end of the time.
bool exitsBefore(Clock::time_point end, const sigset_t& childSignal, pid_t child, int& status) {
    while (::waitpid(child, &status, WNOHANG) != child) {
        const auto left =
            std::chrono::duration_cast<std::chrono::nanoseconds>(end - Clock::now()).count();
        if (left <= 0) {
            return false;
        }
        constexpr long second = 1'000'000'000;
        const timespec time = {static_cast<time_t>(left / second), left % second};
        ::sigtimedwait(&childSignal, nullptr, &time);
    }
    return true;
}

bool arrangeDescriptors(int result, ConfinedDiagnostics diagnostics) {
    const VELDescriptor null(::open("/dev/null", O_RDWR | O_CLOEXEC));
    const int errors = diagnostics == ConfinedDiagnostics::inherited ? STDERR_FILENO : null.get();
    // Foreign code must not keep the host's pipe open, nor print into it.
    return null && ::dup2(null.get(), STDIN_FILENO) >= 0 && ::dup2(errors, STDOUT_FILENO) >= 0 &&
           ::dup2(errors, STDERR_FILENO) >= 0 && ::dup2(result, resultDescriptor) >= 0 &&
           ::close_range(resultDescriptor + 1, std::numeric_limits<unsigned>::max(), 0) == 0;
}

[[noreturn]] void workAsChild(const std::string& name, pid_t parent, int result,
                              ConfinedDiagnostics diagnostics,
                              const std::function<std::string()>& work) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    // A crash leaves no file in the folder that the host happens to work in.
    const rlimit none = {0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    // A limit on files that the host has set for itself counts for files in memory, too.
    rlimit fileSize = {};
    ::getrlimit(RLIMIT_FSIZE, &fileSize);
    fileSize.rlim_cur = fileSize.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &fileSize);
    int status = 1;
    if (::getppid() == parent && arrangeDescriptors(result, diagnostics)) {
        try {
            status = writeAll(resultDescriptor, work()) == 0 ? 0 : 1;
        } catch (const std::exception& exception) {
            diagnose(name, exception.what());
        }
    }
    // Not by way of what foreign code wants to have done at exit.
    ::_exit(status);
}

} // namespace

ConfinedResult doConfined(const std::string& name, std::chrono::milliseconds limit,
                          ConfinedDiagnostics diagnostics,
                          const std::function<std::string()>& work) {
    // A file in memory: unlike a pipe it holds everything, and has an end whoever has it open.
    const VELDescriptor result(::memfd_create("result", MFD_CLOEXEC));
    if (!result) {
        return {};
    }
    sigset_t childSignal;
    ::sigemptyset(&childSignal);
    ::sigaddset(&childSignal, SIGCHLD);
    ::signal(SIGCHLD, SIG_DFL);
    ::sigprocmask(SIG_BLOCK, &childSignal, nullptr);
    const auto end = Clock::now() + limit;
    const pid_t parent = ::getpid();
    const pid_t child = ::fork();
    if (child == 0) {
        ::sigprocmask(SIG_UNBLOCK, &childSignal, nullptr);
        workAsChild(name, parent, result.get(), diagnostics, work);
    }
    int status = 0;
    if (child < 0) {
        return {};
    }
    if (!exitsBefore(end, childSignal, child, status)) {
        ::kill(child, SIGKILL);
        return {ConfinedResult::End::tooSlow, {}};
    }
    std::string text;
    const bool isWhole = WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                         ::lseek(result.get(), 0, SEEK_SET) == 0 &&
                         readAll(result.get(), text) == 0;
    return isWhole ? ConfinedResult{ConfinedResult::End::finished, std::move(text)}
                   : ConfinedResult{};
}

} // namespace vel
