// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingTask.h"

using vel::recorded::Run;

std::vector<std::string> VELRecordingWorkingPlace::lastCommand() const {
    const std::scoped_lock lock(_mutex);
    return _lastCommand;
}

void VELRecordingWorkingPlace::setLastCommand(std::vector<std::string> command) const {
    const std::scoped_lock lock(_mutex);
    _lastCommand = std::move(command);
}

VELRecordingTask::VELRecordingTask(const VELRecorder& recorder, std::vector<std::string> command,
                                   std::shared_ptr<const VELRecordingWorkingPlace> place,
                                   std::shared_ptr<VELTask> task)
    : _platform(recorder.sharedPlatform()), _recording(recorder.sharedRecording()),
      _place(std::move(place)), _task(std::move(task)), _run{.command = std::move(command)} {}

VELTimePoint VELRecordingTask::now() const {
    const std::shared_ptr<const VELPlatform> platform = _platform.lock();
    return platform != nullptr ? platform->ticks() : VELTimePoint();
}

const std::string& VELRecordingTask::launchPath() const {
    return _task->launchPath();
}

void VELRecordingTask::launch() {
    const VELTimePoint start = now();
    try {
        _task->launch();
    } catch (const VELTaskLaunchFailure& failure) {
        _recording->add(now() - start, [&] {
            Run run = _run;
            describeLaunch(run);
            run.launchFailure = failure.what();
            return run;
        });
        throw;
    }
    _launchTime = now();
    _isLaunched = true;
    try {
        describeLaunch(_run);
        if (_place != nullptr) {
            _place->setLastCommand(_run.command);
        }
    } catch (const std::bad_alloc&) {
        _recording->setIncomplete();
    }
}

void VELRecordingTask::describeLaunch(Run& run) const {
    run.launchPath = _task->launchPath();
    if (_place != nullptr) {
        run.after = _place->lastCommand();
    }
}

bool VELRecordingTask::isRunning() const {
    return _task->isRunning();
}

void VELRecordingTask::terminate() {
    {
        const std::scoped_lock lock(_mutex);
        if (!_terminationTime) {
            _terminationTime = now();
        }
    }
    _task->terminate();
}

void VELRecordingTask::waitUntilExit() {
    try {
        _task->waitUntilExit();
    } catch (...) {
        _recording->setIncomplete();
        throw;
    }
    _run.runningTime = now() - _launchTime;
}

std::int32_t VELRecordingTask::terminationStatus() const {
    const std::int32_t status = _task->terminationStatus();
    _run.status = status;
    return status;
}

std::optional<std::string> VELRecordingTask::readOutputToEnd(VELTimePoint deadline) {
    const VELTimePoint start = now();
    std::optional<std::string> output = _task->readOutputToEnd(deadline);
    const VELTimePoint end = now();
    _run.outputTime = end - start;
    if (output) {
        _run.outputState = Run::Output::complete;
        try {
            _run.output = *output;
        } catch (const std::bad_alloc&) {
            _recording->setIncomplete();
        }
    } else {
        _run.outputState = end >= deadline ? Run::Output::heldOpen : Run::Output::unreadable;
    }
    return output;
}

void VELRecordingTask::close() noexcept {
    _task->close();
    if (!_isLaunched || std::exchange(_isKept, true)) {
        return;
    }
    _recording->add(now() - _launchTime, [&] {
        const std::scoped_lock lock(_mutex);
        if (_terminationTime) {
            _run.terminatedAfter = *_terminationTime - _launchTime;
        }
        return std::move(_run);
    });
}
