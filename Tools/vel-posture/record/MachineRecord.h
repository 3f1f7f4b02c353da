// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecording.h"

#include <string>
#include <vector>

/// The description of the machine that a recording was made of, a line of JSON. With `requests` it
/// is redacted: it keeps what they ask for. Throws `ProgramFailure` if an answer was not kept, or
/// if no description says what was answered.
std::string machineRecord(const VELRecording& recording, const std::vector<VELValue>* requests);
