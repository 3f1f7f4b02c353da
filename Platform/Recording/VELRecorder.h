// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"
#include "Platform/VELPlatform.h"

#include <memory>
#include <utility>

/// Asks a platform and keeps what it answers. Copies share the platform and the recording.
class VELRecorder {
public:
    VELRecorder(std::shared_ptr<const VELPlatform> platform,
                std::shared_ptr<VELRecording> recording)
        : _platform(std::move(platform)), _recording(std::move(recording)) {}

    [[nodiscard]] const VELPlatform& platform() const { return *_platform; }
    [[nodiscard]] VELRecording& recording() const { return *_recording; }
    [[nodiscard]] const auto& sharedPlatform() const { return _platform; }
    [[nodiscard]] const auto& sharedRecording() const { return _recording; }

    /// Returns what `question` returns. `keep` makes the answer to keep of it.
    template <typename Question, typename Keep>
    auto ask(const Question& question, const Keep& keep) const {
        const VELTimePoint start = _platform->ticks();
        try {
            auto answer = question();
            _recording->add(_platform->ticks() - start, [&] { return keep(answer); });
            return answer;
        } catch (...) {
            _recording->setIncomplete();
            throw;
        }
    }

private:
    std::shared_ptr<const VELPlatform> _platform;
    std::shared_ptr<VELRecording> _recording;
};
