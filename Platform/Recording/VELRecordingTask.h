// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecorder.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// A working place of another platform, which knows the command that was launched in it last.
class VELRecordingWorkingPlace final : public VELWorkingPlace {
public:
    explicit VELRecordingWorkingPlace(std::shared_ptr<const VELWorkingPlace> place)
        : _place(std::move(place)) {}

    [[nodiscard]] const std::shared_ptr<const VELWorkingPlace>& place() const { return _place; }

    /// Empty: none was.
    [[nodiscard]] std::vector<std::string> lastCommand() const;
    void setLastCommand(std::vector<std::string> command) const;

private:
    std::shared_ptr<const VELWorkingPlace> _place;
    mutable std::mutex _mutex;
    mutable std::vector<std::string> _lastCommand;
};

/// A task of another platform. Its run is kept when it is closed, or when the launch fails. It does
/// not keep the platform alive: a timer that the platform holds may hold the task.
class VELRecordingTask final : public VELTask {
public:
    /// `command`: the tool of macOS and its arguments. `place` is that of the task, or null.
    VELRecordingTask(const VELRecorder& recorder, std::vector<std::string> command,
                     std::shared_ptr<const VELRecordingWorkingPlace> place,
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
    void describeLaunch(vel::recorded::Run& run) const;
    [[nodiscard]] VELTimePoint now() const;

    std::weak_ptr<const VELPlatform> _platform;
    std::shared_ptr<VELRecording> _recording;
    std::shared_ptr<const VELRecordingWorkingPlace> _place;
    std::shared_ptr<VELTask> _task;
    VELTimePoint _launchTime{};
    bool _isLaunched = false;
    bool _isKept = false;
    // Written by the thread that launched the task.
    mutable vel::recorded::Run _run;

    std::mutex _mutex;
    std::optional<VELTimePoint> _terminationTime;
};
