// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"

#include <span>
#include <vector>

/// Answers without what tells who uses the machine: the serial number, the device ID, process lines
/// and certificates that no request asks for are left out; mount points other than those of the
/// systems, the executables of tools, and what else tools and the status file say are replaced. The
/// requests have the same verdicts with the answers that are left. Throws `ProgramFailure` for a
/// domain or a status that cannot be written anew.
std::vector<VELRecordedAnswer> redacted(std::vector<VELRecordedAnswer> answers,
                                        std::span<const VELValue> requests);
