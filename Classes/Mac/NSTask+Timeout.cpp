// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/NSTask+Timeout.h"

#include "Base/VELDuration.h"
#include "Base/VELText.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <new>

namespace {

/// Closes what a run holds open, however the run ends.
class RunCloser {
public:
    explicit RunCloser(VELTask& task) : _task(task) {}
    RunCloser(const RunCloser&) = delete;
    RunCloser& operator=(const RunCloser&) = delete;
    ~RunCloser() { _task.close(); }

private:
    VELTask& _task;
};

std::optional<std::string> decodeUTF8(std::optional<std::string> bytes) {
    return bytes && vel::isValidUTF8(*bytes) ? std::move(bytes) : std::nullopt;
}

} // namespace

std::optional<std::string> runWithTimeout(const std::shared_ptr<VELTask>& task, double timeout,
                                          std::optional<VELError>* error,
                                          const VELPlatform& platform) {
    const RunCloser closer(*task);
    try {
        task->launch();
    } catch (const VELTaskLaunchFailure& failure) {
        SetPostureCheckError(error, VELPostureCheckErrorTaskLaunch,
                             "Error launching task " + task->launchPath() + ": " + failure.what());
        return std::nullopt;
    }
    const VELTimePoint deadline = vel::momentAfter(platform.ticks(), vel::nanoseconds(timeout));
    waitUntilExitWithTimeout(task, timeout, platform);
    if (const std::int32_t status = task->terminationStatus(); status != 0) {
        SetPostureCheckError(error, VELPostureCheckErrorTaskExitStatus,
                             "Task " + task->launchPath() + " exited with status code " +
                                 std::to_string(status) + ".");
        return std::nullopt;
    }
    // Not before the exit: a tool that prints more than a pipe holds has to run into its time-out.
    return decodeUTF8(task->readOutputToEnd(deadline));
}

void waitUntilExitWithTimeout(const std::shared_ptr<VELTask>& task, double timeout,
                              const VELPlatform& platform) {
    const auto endIfRunning = [task] {
        if (task->isRunning()) {
            task->terminate();
        }
    };
    bool isTimed = false;
    try {
        isTimed = platform.workQueue().after(vel::nanoseconds(timeout), endIfRunning);
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): it is not timed then
    }
    if (!isTimed) {
        // Nobody would end it at its deadline, and it must not keep the host for ever.
        endIfRunning();
    }
    task->waitUntilExit();
}
