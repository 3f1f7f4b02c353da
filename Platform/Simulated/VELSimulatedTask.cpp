// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedTask.h"

#include "Base/VELDuration.h"

#include <array>
#include <csignal>
#include <new>
#include <stdexcept>
#include <utility>

using Kind = VELSimulatedTaskEvent::Kind;

std::ostream& operator<<(std::ostream& stream, const VELSimulatedTaskEvent& event) {
    constexpr std::array names = {"launch", "wait",       "isRunning", "terminate",
                                  "status", "readOutput", "close"};
    stream << names.at(static_cast<std::size_t>(event.kind)) << " at "
           << event.moment.time_since_epoch().count() << " ns:";
    for (const std::string& word : event.command) {
        stream << ' ' << word;
    }
    return stream;
}

std::vector<VELSimulatedTaskEvent> VELSimulatedTaskRecord::events() const {
    const std::scoped_lock lock(_mutex);
    return _events;
}

std::vector<std::vector<std::string>> VELSimulatedTaskRecord::launchedCommands() const {
    const std::scoped_lock lock(_mutex);
    std::vector<std::vector<std::string>> commands;
    for (const VELSimulatedTaskEvent& event : _events) {
        if (event.kind == Kind::launch) {
            commands.push_back(event.command);
        }
    }
    return commands;
}

std::vector<std::shared_ptr<const VELSimulatedWorkingPlace>>
VELSimulatedTaskRecord::workingPlaces() const {
    const std::scoped_lock lock(_mutex);
    return _workingPlaces;
}

void VELSimulatedTaskRecord::add(VELSimulatedTaskEvent event) {
    const std::scoped_lock lock(_mutex);
    _events.push_back(std::move(event));
}

void VELSimulatedTaskRecord::add(std::shared_ptr<const VELSimulatedWorkingPlace> place) {
    const std::scoped_lock lock(_mutex);
    _workingPlaces.push_back(std::move(place));
}

const VELSimulatedRun* VELSimulatedTaskRecord::nextRun(const std::vector<VELSimulatedRun>& runs,
                                                       const std::vector<std::string>& command,
                                                       const std::vector<std::string>& last) {
    const std::scoped_lock lock(_mutex);
    _isUsed.resize(runs.size());
    const auto nextAfter = [&](const std::vector<std::string>& after) {
        const VELSimulatedRun* found = nullptr;
        for (std::size_t index = 0; index < runs.size(); ++index) {
            if (runs[index].command != command || runs[index].after != after) {
                continue;
            }
            found = &runs[index];
            if (!_isUsed[index]) {
                _isUsed[index] = true;
                break;
            }
        }
        return found;
    };
    const VELSimulatedRun* run = nextAfter(last);
    return run != nullptr ? run : nextAfter({});
}

std::vector<std::string> VELSimulatedWorkingPlace::lastCommand() const {
    const std::scoped_lock lock(_mutex);
    return _lastCommand;
}

void VELSimulatedWorkingPlace::setLastCommand(std::vector<std::string> command) const {
    const std::scoped_lock lock(_mutex);
    _lastCommand = std::move(command);
}

VELSimulatedTask::VELSimulatedTask(std::vector<std::string> command,
                                   std::shared_ptr<const VELSimulatedWorkingPlace> place,
                                   const std::vector<VELSimulatedRun>& runs,
                                   const VELSimulatedTime& time, VELSimulatedTaskRecord& record)
    : _command(std::move(command)), _launchPath(_command.front()), _place(std::move(place)),
      _runs(runs), _time(time), _record(record) {}

const std::string& VELSimulatedTask::launchPath() const {
    return _launchPath;
}

void VELSimulatedTask::note(Kind kind) const {
    if (_record.keepsEvents) {
        _record.add({kind, _time.now(_thread), _command});
    }
}

bool VELSimulatedTask::runsNow() const {
    return _run && (!_exitMoment || _time.now(_thread) < *_exitMoment);
}

std::optional<VELTimePoint> VELSimulatedTask::exitMoment() const {
    const std::scoped_lock lock(_mutex);
    return _exitMoment;
}

void VELSimulatedTask::launch() {
    const std::scoped_lock lock(_mutex);
    _thread = VELSimulatedTime::currentThread();
    ++_record.launches;
    note(Kind::launch);
    if (_record.keepsEvents) {
        _record.add(_place);
    }
    if (_place != nullptr && !_place->isMade) {
        throw VELTaskLaunchFailure("no working place on this machine");
    }
    const VELSimulatedRun* run = _record.nextRun(
        _runs, _command, _place ? _place->lastCommand() : std::vector<std::string>());
    if (run == nullptr) {
        throw VELTaskLaunchFailure("no such tool on this machine");
    }
    _launchPath = run->launchPath.value_or(_launchPath);
    if (run->launchFailure) {
        throw VELTaskLaunchFailure(*run->launchFailure);
    }
    if (_place != nullptr) {
        _place->setLastCommand(_command);
    }
    _run = *run;
    _status = run->signal.value_or(run->status);
    if (run->output.size() <= run->pipeCapacity) {
        _exitMoment = vel::momentAfter(_time.now(), vel::nanoseconds(run->seconds));
    }
}

bool VELSimulatedTask::isRunning() const {
    const std::scoped_lock lock(_mutex);
    note(Kind::isRunning);
    return runsNow();
}

void VELSimulatedTask::terminate() {
    const std::scoped_lock lock(_mutex);
    note(Kind::terminate);
    if (!runsNow()) {
        return;
    }
    ++_record.terminations;
    if (!_run->ignoresTermination) {
        _exitMoment = _time.now(_thread);
        _status = _run->statusOnTermination.value_or(SIGTERM);
    }
}

void VELSimulatedTask::waitUntilExit() {
    note(Kind::wait);
    while (true) {
        const std::optional<VELTimePoint> exit = exitMoment();
        const std::optional<VELTimePoint> due = _time.nextDue();
        if (exit && (!due || *exit <= *due)) {
            _time.advanceTo(*exit);
            return;
        }
        if (!due) {
            throw std::runtime_error("the simulated tool " + launchPath() + " never ends");
        }
        _time.advanceTo(*due);
    }
}

std::int32_t VELSimulatedTask::terminationStatus() const {
    const std::scoped_lock lock(_mutex);
    note(Kind::status);
    return _run && _run->statusIsLost ? -1 : _status;
}

std::optional<std::string> VELSimulatedTask::readOutputToEnd(VELTimePoint deadline) {
    note(Kind::readOutput);
    if (!_run || _closed || _run->outputReadFails) {
        return std::nullopt;
    }
    const VELTimePoint end = vel::momentAfter(exitMoment().value_or(_time.now()),
                                              vel::nanoseconds(_run->secondsOutputIsHeld));
    if (end > _time.now() && end >= deadline) {
        _time.advanceTo(deadline);
        return std::nullopt;
    }
    _time.advanceTo(end);
    return _run->output.substr(0, _run->pipeCapacity);
}

void VELSimulatedTask::close() noexcept {
    const std::scoped_lock lock(_mutex);
    if (_run && !std::exchange(_closed, true)) {
        ++_record.closes;
    }
    try {
        note(Kind::close);
    } catch (const std::bad_alloc&) { // NOLINT(bugprone-empty-catch): a close that is not noted
    }
}
