// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingTask.h"

using vel::recorded::Run;

VELRecordingTask::VELRecordingTask(VELRecorder recorder, std::vector<std::string> command,
                                   std::shared_ptr<VELTask> task)
    : _recorder(std::move(recorder)),
      _task(std::move(task)), _run{.command = std::move(command),
                                   .launchPath = _task->launchPath()} {}

const std::string& VELRecordingTask::launchPath() const {
    return _task->launchPath();
}

void VELRecordingTask::launch() {
    _launchTime = now();
    try {
        _task->launch();
    } catch (const VELTaskLaunchFailure& failure) {
        _recorder.recording().add(now() - _launchTime, [&] {
            Run run = _run;
            run.launchFailure = failure.what();
            return run;
        });
        throw;
    }
    _isLaunched = true;
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
    _task->waitUntilExit();
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
            _recorder.recording().setIncomplete();
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
    _recorder.recording().add(now() - _launchTime, [&] {
        const std::scoped_lock lock(_mutex);
        if (_terminationTime) {
            _run.terminatedAfter = *_terminationTime - _launchTime;
        }
        return std::move(_run);
    });
}
