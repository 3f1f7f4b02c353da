// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tools/vel-posture/lint/Finding.h"

#include <string_view>
#include <vector>

/// Adds a finding for every key that an object of a JSON text holds more than once: readers keep
/// the last one silently. `text` has been read without an error.
void findDuplicateKeys(std::string_view text, FindingList& findings);

/// Gives each finding the line and column of its place in the text, where a key begins, or an
/// element of a list; of a key that is given more than once the last one. A place that is not in
/// the text is where the object or list that lacks it begins.
void locateFindings(std::string_view text, std::vector<Finding>& findings);
