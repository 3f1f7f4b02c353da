// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecorder.h"

#include <mutex>

/// A task of another platform. Its run is kept when it is closed, or when the launch fails.
class VELRecordingTask final : public VELTask {
public:
    /// `command`: the tool of macOS and its arguments.
    VELRecordingTask(VELRecorder recorder, std::vector<std::string> command,
                     std::shared_ptr<VELTask> task);

    [[nodiscard]] const std::string& launchPath() const override;
    void launch() override;
    [[nodiscard]] bool isRunning() const override;
    void terminate() override;
    void waitUntilExit() override;
    [[nodiscard]] std::int32_t terminationStatus() const override;
    std::optional<std::string> readOutputToEnd(VELTimePoint deadline) override;
    void close() noexcept override;

private:
    [[nodiscard]] VELTimePoint now() const { return _recorder.platform().ticks(); }

    VELRecorder _recorder;
    std::shared_ptr<VELTask> _task;
    VELTimePoint _launchTime{};
    bool _isLaunched = false;
    bool _isKept = false;
    // Written by the thread that launched the task.
    mutable vel::recorded::Run _run;

    std::mutex _mutex;
    std::optional<VELTimePoint> _terminationTime;
};
