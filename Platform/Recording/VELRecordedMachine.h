// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"

#include <optional>
#include <span>
#include <string>

namespace vel {

/// Describes the machine that gave `answers`: one line of JSON, a machine description. The Mac that
/// it describes gives the same answers to the same questions: runs of a tool in their order,
/// everything else in any order. Of times it keeps how long tools ran. What was not asked is
/// absent.
///
/// Nothing when there is no such description, with a text in `error` (which may be null): a
/// question other than a run was answered in two ways, a tool did not come to its end, or a text is
/// not UTF-8 where the format has no bytes.
std::optional<std::string> descriptionOfAnswers(std::span<const VELRecordedAnswer> answers,
                                                std::string* error);

} // namespace vel
