// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/VELTask.h"

#include <csignal>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <sys/types.h>
#include <vector>

/// A child process of this one. It is spawned, never forked, so that a host of any size starts it
/// as fast; it gets the host's environment, standard input and standard error (/dev/null for one
/// that the host has closed) and no other descriptor, and every signal at its default and
/// unblocked, whatever the host does with them. It alone is waited for.
///
/// What a launch failure says: "launch path not accessible" when there is no executable file at the
/// launch path, otherwise "Couldn't posix_spawn: error N" or "Couldn't create a pipe: error N",
/// where N is the error number.
class VELPOSIXTask final : public VELTask {
public:
    /// The first descriptor after the standard streams.
    static constexpr int inheritedDescriptor = 3;

    struct Options {
        /// What the child gets as its descriptor `inheritedDescriptor`; null: nothing. One that is
        /// not open makes the launch fail.
        std::shared_ptr<const VELDescriptor> inherited = nullptr;

        /// Asked at the launch with the launch path: why it must not be run; empty: it may. Null:
        /// nobody is asked.
        std::function<std::string(const std::string&)> objection = nullptr;

        /// "NAME=value" each; absent: the host's environment.
        std::optional<std::vector<std::string>> environment = std::nullopt;

        /// Off: the child is signalled and waited for by its number, as on a machine that has no
        /// handles for processes.
        bool usesProcessHandle = true;

        /// On: standard input and standard error are /dev/null, whatever the host's are.
        bool usesNullStreams = false;

        /// Output of more bytes than this is not read to its end: a process that the child left
        /// behind may write as long as it is read.
        std::size_t outputLimit = std::size_t{64} << 20U;
    };

    VELPOSIXTask(std::string launchPath, std::vector<std::string> arguments);
    VELPOSIXTask(std::string launchPath, std::vector<std::string> arguments, Options options);

    /// A child that was never waited for is left to run, and reaped if it has exited.
    ~VELPOSIXTask() override;

    [[nodiscard]] const std::string& launchPath() const override;
    void launch() override;
    [[nodiscard]] bool isRunning() const override;
    void terminate() override;
    /// As `terminate`, with a signal that no process can ignore.
    void kill();
    void waitUntilExit() override;
    /// Waits until the child has exited, which is then left to `waitUntilExit`, or until the
    /// deadline. Whether it has exited.
    [[nodiscard]] bool exitsBefore(VELTimePoint deadline) const;
    [[nodiscard]] std::int32_t terminationStatus() const override;

    /// Moments are those of `vel::monotonicNow`. What was written before the deadline and ended is
    /// read even when the deadline has passed. It may also be called before `waitUntilExit`, for a
    /// child that writes more than a pipe holds.
    std::optional<std::string> readOutputToEnd(VELTimePoint deadline) override;
    void close() noexcept override;

private:
    [[nodiscard]] pid_t spawn(int output) const;
    void sendSignal(int signal) const;
    [[nodiscard]] bool runsNow() const;
    int wait(siginfo_t& information, int options) const;
    void reap(int options);

    const std::string _launchPath;
    const std::vector<std::string> _arguments;
    const Options _options;
    VELDescriptor _output;

    // While a lock on this is held and _process is not 0, the child has not been reaped here, so
    // that neither its number nor its handle can be another's.
    mutable std::mutex _mutex;
    pid_t _process = 0;
    VELDescriptor _handle;
    std::int32_t _status = -1;
};
