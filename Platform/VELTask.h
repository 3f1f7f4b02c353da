// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELClock.h"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

/// A child process could not be started; what() is the reason, for people.
class VELTaskLaunchFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// One run of a tool as a child process, its standard output collected. Standard error, standard
/// input, environment and working directory are the host's. A task is launched once. Made by the
/// platform (`VELPlatform::task`).
///
/// `isRunning` and `terminate` may be called from any thread at any time; everything else belongs
/// to the thread that launched the task.
class VELTask {
public:
    VELTask() = default;
    VELTask(const VELTask&) = delete;
    VELTask& operator=(const VELTask&) = delete;
    virtual ~VELTask() = default;

    /// The absolute path of the executable.
    [[nodiscard]] virtual const std::string& launchPath() const = 0;

    /// Starts the child. Throws `VELTaskLaunchFailure`, with no child and no descriptor left over,
    /// when there is no executable file at the launch path, the system cannot create a process, or
    /// the task's working place could not be made.
    virtual void launch() = 0;

    /// Whether the child has been started and has not exited yet.
    [[nodiscard]] virtual bool isRunning() const = 0;

    /// Asks the child to end (SIGTERM). Nothing happens when it is not running.
    virtual void terminate() = 0;

    /// Sleeps until the child has exited. Its status is known afterwards and it is reaped; the
    /// other children of the host are left alone.
    virtual void waitUntilExit() = 0;

    /// The exit status, or the number of the signal that ended the child, or -1 when the status is
    /// lost because the host reaped the child or ignores its children. After `waitUntilExit`.
    [[nodiscard]] virtual std::int32_t terminationStatus() const = 0;

    /// What the child wrote to its standard output, read to the end, which is where no process
    /// holds the other side any more. Nothing when the end is not reached before the platform's
    /// `ticks()` reach `deadline` (a grandchild holds it), or when reading fails. After
    /// `waitUntilExit`, once.
    virtual std::optional<std::string> readOutputToEnd(VELTimePoint deadline) = 0;

    /// Closes what the run held open: the output cannot be read any more. Called at the end of
    /// every run, also of one whose output was never read, so that whoever still holds the task
    /// holds no descriptor.
    virtual void close() noexcept = 0;
};
