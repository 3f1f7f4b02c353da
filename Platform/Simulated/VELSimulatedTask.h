// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedTime.h"
#include "Platform/VELTask.h"
#include "Platform/VELWorkingPlace.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

/// One run of a tool, in plain data.
struct VELSimulatedRun {
    /// How many bytes a pipe holds, unless a run says otherwise.
    static constexpr std::size_t usualPipeCapacity = 65'536;

    /// Launch path and arguments: those of the task, exactly.
    std::vector<std::string> command = {};

    /// The path of the executable, which messages show. Absent: the tool's own.
    std::optional<std::string> launchPath = std::nullopt;

    /// Serves only a task in whose working place this command was launched last. Empty: any task
    /// that no other run serves for that reason.
    std::vector<std::string> after = {};

    /// Bytes of standard output. More than the pipe holds block the tool until it is ended.
    std::string output = {};
    std::size_t pipeCapacity = usualPipeCapacity;

    std::int32_t status = 0;

    /// Ended by this signal, whose number is then the status.
    std::optional<std::int32_t> signal = std::nullopt;

    /// The launch raises, with this reason.
    std::optional<std::string> launchFailure = std::nullopt;

    /// How long it runs, in virtual time.
    double seconds = 0;

    /// Asked to end, it exits with this status instead of being ended by SIGTERM.
    std::optional<std::int32_t> statusOnTermination = std::nullopt;

    /// Asked to end, it goes on. (One that is also blocked by its output never ends: waiting for it
    /// raises `std::runtime_error`.)
    bool ignoresTermination = false;

    /// How long after its exit a process that it left behind holds its output open, in virtual
    /// time. It may be infinite.
    double secondsOutputIsHeld = 0;

    /// Reading the output fails.
    bool outputReadFails = false;

    /// The host reaped the child: status -1.
    bool statusIsLost = false;
};

/// A working place, which knows the command that was launched in it last.
class VELSimulatedWorkingPlace final : public VELWorkingPlace {
public:
    explicit VELSimulatedWorkingPlace(bool wasMade) : isMade(wasMade) {}

    const bool isMade;

    /// Empty: none was.
    [[nodiscard]] std::vector<std::string> lastCommand() const;
    void setLastCommand(std::vector<std::string> command) const;

private:
    mutable std::mutex _mutex;
    mutable std::vector<std::string> _lastCommand;
};

/// One thing that was asked of a simulated task.
struct VELSimulatedTaskEvent {
    enum class Kind { launch, wait, isRunning, terminate, status, readOutput, close };

    Kind kind;
    VELTimePoint moment; // in the time of the thread that launched the task
    std::vector<std::string> command;

    friend bool operator==(const VELSimulatedTaskEvent&, const VELSimulatedTaskEvent&) = default;
    friend std::ostream& operator<<(std::ostream& stream, const VELSimulatedTaskEvent& event);
};

/// What was asked of the tasks of one platform, and which runs of its tools are used up.
class VELSimulatedTaskRecord {
public:
    /// False: events and working places are not kept, so that it does not grow.
    bool keepsEvents = true;

    /// Launches that were tried, whether or not they failed.
    std::atomic<unsigned> launches = 0;
    /// Tools that were asked to end while they ran.
    std::atomic<unsigned> terminations = 0;
    /// Launched tasks whose output was closed.
    std::atomic<unsigned> closes = 0;

    /// Everything that was asked, in order.
    [[nodiscard]] std::vector<VELSimulatedTaskEvent> events() const;

    /// The launch path and arguments of each launch that was tried, in order.
    [[nodiscard]] std::vector<std::vector<std::string>> launchedCommands() const;

    /// The working place of each launch that was tried, in order; null where there was none.
    [[nodiscard]] std::vector<std::shared_ptr<const VELSimulatedWorkingPlace>>
    workingPlaces() const;

    void add(VELSimulatedTaskEvent event);
    void add(std::shared_ptr<const VELSimulatedWorkingPlace> place);

    /// The run of `runs` that serves the next launch of `command` in a place where `last` was
    /// launched last: those of this command after `last`, or if there are none those after any, in
    /// order, the last one for ever. Null: there is none.
    const VELSimulatedRun* nextRun(const std::vector<VELSimulatedRun>& runs,
                                   const std::vector<std::string>& command,
                                   const std::vector<std::string>& last);

private:
    mutable std::mutex _mutex;
    std::vector<VELSimulatedTaskEvent> _events;
    std::vector<std::shared_ptr<const VELSimulatedWorkingPlace>> _workingPlaces;
    std::vector<bool> _isUsed; // of each run
};

/// A tool of a simulated machine, in the virtual time of the thread that launches it. The platform
/// that made it outlives it.
class VELSimulatedTask final : public VELTask {
public:
    VELSimulatedTask(std::vector<std::string> command,
                     std::shared_ptr<const VELSimulatedWorkingPlace> place,
                     const std::vector<VELSimulatedRun>& runs, const VELSimulatedTime& time,
                     VELSimulatedTaskRecord& record);

    [[nodiscard]] const std::string& launchPath() const override;
    void launch() override;
    [[nodiscard]] bool isRunning() const override;
    void terminate() override;
    void waitUntilExit() override;
    [[nodiscard]] std::int32_t terminationStatus() const override;
    std::optional<std::string> readOutputToEnd(VELTimePoint deadline) override;
    void close() noexcept override;

private:
    void note(VELSimulatedTaskEvent::Kind kind) const;
    [[nodiscard]] bool runsNow() const;
    [[nodiscard]] std::optional<VELTimePoint> exitMoment() const;

    const std::vector<std::string> _command;
    std::string _launchPath;
    const std::shared_ptr<const VELSimulatedWorkingPlace> _place;
    const std::vector<VELSimulatedRun>& _runs;
    const VELSimulatedTime& _time;
    VELSimulatedTaskRecord& _record;

    mutable std::mutex _mutex;
    VELSimulatedTime::Thread _thread = VELSimulatedTime::currentThread();
    std::optional<VELSimulatedRun> _run;     // absent until launched
    std::optional<VELTimePoint> _exitMoment; // absent: it never exits by itself
    std::int32_t _status = 0;
    bool _closed = false;
};
