// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecording.h"

void VELRecording::setEntry(std::optional<std::size_t> entry) noexcept {
    const std::scoped_lock lock(_mutex);
    _entry = entry;
}

void VELRecording::addAnswer(std::chrono::nanoseconds duration, VELRecordedAnswer::Answer answer) {
    const std::scoped_lock lock(_mutex);
    _answers.push_back({_entry, std::move(answer), duration});
}

void VELRecording::append(const VELRecording& other) {
    const std::vector<VELRecordedAnswer> answers = other.answers();
    const bool isComplete = other.isComplete();
    const std::scoped_lock lock(_mutex);
    _answers.insert(_answers.end(), answers.begin(), answers.end());
    _isComplete = _isComplete && isComplete;
}

void VELRecording::setIncomplete() noexcept {
    const std::scoped_lock lock(_mutex);
    _isComplete = false;
}

bool VELRecording::isComplete() const noexcept {
    const std::scoped_lock lock(_mutex);
    return _isComplete;
}

std::vector<VELRecordedAnswer> VELRecording::answers() const {
    const std::scoped_lock lock(_mutex);
    return _answers;
}

std::vector<VELRecordedAnswer> VELRecording::takeAnswers() noexcept {
    const std::scoped_lock lock(_mutex);
    return std::exchange(_answers, {});
}
