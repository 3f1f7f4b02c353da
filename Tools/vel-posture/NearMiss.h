// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The one of `names` that somebody who wrote `text` most likely meant: the same ignoring case and
/// separators, a few typing errors away, or one contains the other. Returns nullopt if none is
/// near. The texts are UTF-8; one that is much longer than a name is near to none.
std::optional<std::string> nearestName(std::string_view text,
                                       const std::vector<std::string>& names);
