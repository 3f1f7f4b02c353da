// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/lint/Finding.h"

#include <string_view>

/// Adds a finding for every key that an object of a JSON text holds more than once: readers keep
/// the last one silently. `text` has been read without an error.
void findDuplicateKeys(std::string_view text, FindingList& findings);
