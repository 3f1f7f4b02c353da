// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingDisks.h"

using namespace vel::recorded;

namespace {

class Media final : public VELDiskMedia {
public:
    Media(VELRecorder recorder, std::string mountPoint, std::unique_ptr<VELDiskMedia> media)
        : _recorder(std::move(recorder)), _mountPoint(std::move(mountPoint)),
          _media(std::move(media)) {}

    [[nodiscard]] std::optional<VELValue> property(std::string_view name) const override {
        return _recorder.ask([&] { return _media->property(name); },
                             [&](const auto& value) {
                                 return MediaProperty{_mountPoint, std::string(name), value};
                             });
    }

private:
    VELRecorder _recorder;
    std::string _mountPoint;
    std::unique_ptr<VELDiskMedia> _media;
};

class MountedDisk final : public VELDisk {
public:
    MountedDisk(VELRecorder recorder, std::string mountPoint, std::unique_ptr<VELDisk> disk)
        : _recorder(std::move(recorder)), _mountPoint(std::move(mountPoint)),
          _disk(std::move(disk)) {}

    [[nodiscard]] std::optional<VELDiskDescription> copyDescription() const override {
        return _recorder.ask([&] { return _disk->copyDescription(); },
                             [&](const auto& description) {
                                 return DiskDescription{_mountPoint, description};
                             });
    }

    [[nodiscard]] std::unique_ptr<VELDiskMedia> copyMedia() const override {
        auto media = _recorder.ask([&] { return _disk->copyMedia(); },
                                   [&](const auto& found) {
                                       return DiskMedia{_mountPoint, found != nullptr};
                                   });
        return media ? std::make_unique<Media>(_recorder, _mountPoint, std::move(media)) : nullptr;
    }

private:
    VELRecorder _recorder;
    std::string _mountPoint;
    std::unique_ptr<VELDisk> _disk;
};

class Session final : public VELDiskSession {
public:
    Session(VELRecorder recorder, std::unique_ptr<VELDiskSession> session)
        : _recorder(std::move(recorder)), _session(std::move(session)) {}

    [[nodiscard]] std::unique_ptr<VELDisk>
    diskAtMountPoint(const std::string& mountPoint) const override {
        auto disk = _recorder.ask([&] { return _session->diskAtMountPoint(mountPoint); },
                                  [&](const auto& found) {
                                      return Disk{mountPoint, found != nullptr};
                                  });
        return disk ? std::make_unique<MountedDisk>(_recorder, mountPoint, std::move(disk))
                    : nullptr;
    }

private:
    VELRecorder _recorder;
    std::unique_ptr<VELDiskSession> _session;
};

} // namespace

std::unique_ptr<VELDiskSession> VELRecordingDisks::createSession() const {
    auto session =
        _recorder.ask([&] { return _recorder.platform().diskArbitration().createSession(); },
                      [](const auto& made) { return DiskSession{made != nullptr}; });
    return session ? std::make_unique<Session>(_recorder, std::move(session)) : nullptr;
}

std::optional<std::vector<VELMount>> VELRecordingDisks::mountTable() const {
    return _recorder.ask([&] { return _recorder.platform().diskArbitration().mountTable(); },
                         [](const auto& mounts) { return MountTable{mounts}; });
}
