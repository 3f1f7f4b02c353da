// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingPlatform.h"

#include "Platform/Recording/VELRecordingTask.h"

using namespace vel::recorded;

std::optional<VELValue> VELRecordingPreferences::copyValue(std::string_view key,
                                                           std::string_view applicationID,
                                                           VELPreferencesScope scope) const {
    return _recorder.ask(
        [&] { return _recorder.platform().preferences().copyValue(key, applicationID, scope); },
        [&](const auto& value) {
            return PreferenceValue{std::string(key), std::string(applicationID), scope, value};
        });
}

VELPreferences::IntegerValue
VELRecordingPreferences::appIntegerValue(std::string_view key,
                                         std::string_view applicationID) const {
    return _recorder.ask(
        [&] { return _recorder.platform().preferences().appIntegerValue(key, applicationID); },
        [&](const auto& value) {
            return PreferenceInteger{std::string(key), std::string(applicationID), value};
        });
}

bool VELRecordingFiles::exists(const std::string& path) const {
    return _recorder.ask([&] { return _recorder.platform().files().exists(path); },
                         [&](bool exists) {
                             return FileExists{path, exists};
                         });
}

std::optional<std::string> VELRecordingFiles::read(const std::string& path) const {
    return _recorder.ask([&] { return _recorder.platform().files().read(path); },
                         [&](const auto& bytes) {
                             return FileContents{path, bytes};
                         });
}

VELRecordingPlatform::VELRecordingPlatform(std::shared_ptr<const VELPlatform> platform,
                                           std::shared_ptr<VELRecording> recording)
    : _recorder(std::move(platform), std::move(recording)), _preferences(_recorder),
      _files(_recorder), _disks(_recorder), _keychain(_recorder), _certificates(_recorder) {}

VELTimePoint VELRecordingPlatform::ticks() const {
    return _recorder.platform().ticks();
}

std::optional<std::string> VELRecordingPlatform::productVersion() const {
    return _recorder.ask([&] { return _recorder.platform().productVersion(); },
                         [](const auto& version) { return ProductVersion{version}; });
}

std::optional<std::string> VELRecordingPlatform::serialNumber() const {
    return _recorder.ask([&] { return _recorder.platform().serialNumber(); },
                         [](const auto& serialNumber) { return SerialNumber{serialNumber}; });
}

std::shared_ptr<const VELWorkingPlace> VELRecordingPlatform::openWorkingPlace() const {
    return std::make_shared<const VELRecordingWorkingPlace>(
        _recorder.platform().openWorkingPlace());
}

std::shared_ptr<VELTask>
VELRecordingPlatform::task(std::string_view tool, std::vector<std::string> arguments,
                           std::shared_ptr<const VELWorkingPlace> place) const {
    std::vector<std::string> command = {std::string(tool)};
    command.insert(command.end(), arguments.begin(), arguments.end());
    auto recordingPlace = std::dynamic_pointer_cast<const VELRecordingWorkingPlace>(place);
    auto task = _recorder.platform().task(tool, std::move(arguments),
                                          recordingPlace ? recordingPlace->place() : nullptr);
    return std::make_shared<VELRecordingTask>(_recorder, std::move(command),
                                              std::move(recordingPlace), std::move(task));
}

const VELWorkQueue& VELRecordingPlatform::workQueue() const {
    return _recorder.platform().workQueue();
}
