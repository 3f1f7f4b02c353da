// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The one of `names` that somebody who wrote `text` most likely meant: equal but for letter case
/// and separators, or a few slips of the keyboard away, or holding the other. Nothing: none is
/// near. The texts are UTF-8; one that is much longer than a name is near to none.
std::optional<std::string> nearestName(std::string_view text,
                                       const std::vector<std::string>& names);
