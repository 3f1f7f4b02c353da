// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecorder.h"

/// Disks and the mount table of another platform, recorded.
class VELRecordingDisks final : public VELDiskArbitration {
public:
    explicit VELRecordingDisks(VELRecorder recorder) : _recorder(std::move(recorder)) {}

    [[nodiscard]] std::unique_ptr<VELDiskSession> createSession() const override;
    [[nodiscard]] std::optional<std::vector<VELMount>> mountTable() const override;

private:
    VELRecorder _recorder;
};
