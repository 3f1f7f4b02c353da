// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecorder.h"
#include "Platform/Recording/VELRecordingDisks.h"
#include "Platform/Recording/VELRecordingKeychain.h"
#include "Platform/VELFiles.h"

/// The preferences of another platform, recorded.
class VELRecordingPreferences final : public VELPreferences {
public:
    explicit VELRecordingPreferences(VELRecorder recorder) : _recorder(std::move(recorder)) {}

    [[nodiscard]] std::optional<VELValue> copyValue(std::string_view key,
                                                    std::string_view applicationID,
                                                    VELPreferencesScope scope) const override;
    [[nodiscard]] IntegerValue appIntegerValue(std::string_view key,
                                               std::string_view applicationID) const override;

private:
    VELRecorder _recorder;
};

/// The files of another platform, recorded.
class VELRecordingFiles final : public VELFiles {
public:
    explicit VELRecordingFiles(VELRecorder recorder) : _recorder(std::move(recorder)) {}

    [[nodiscard]] bool exists(const std::string& path) const override;
    [[nodiscard]] std::optional<std::string> read(const std::string& path) const override;

private:
    VELRecorder _recorder;
};

/// A platform round another one: it answers what that one answers, and keeps each question, its
/// answer and the time that it took. Time itself, the work queue, working places, and what can be
/// computed from bytes (parsing certificates, digests) are passed on and not kept.
class VELRecordingPlatform final : public VELPlatform {
public:
    VELRecordingPlatform(std::shared_ptr<const VELPlatform> platform,
                         std::shared_ptr<VELRecording> recording);

    [[nodiscard]] VELTimePoint ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override { return _preferences; }
    [[nodiscard]] const VELFiles& files() const override { return _files; }
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override { return _disks; }
    [[nodiscard]] const VELKeychain& keychain() const override { return _keychain; }
    [[nodiscard]] const VELCertificates& certificates() const override { return _certificates; }
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override;
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override;
    [[nodiscard]] const VELWorkQueue& workQueue() const override;

private:
    VELRecorder _recorder;
    VELRecordingPreferences _preferences;
    VELRecordingFiles _files;
    VELRecordingDisks _disks;
    VELRecordingKeychain _keychain;
    VELRecordingCertificates _certificates;
};
