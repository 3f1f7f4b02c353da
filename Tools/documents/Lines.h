// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The words with `separator` between them.
std::string joined(const std::vector<std::string>& words, std::string_view separator);

/// The text with each of `characters` replaced by `before` and itself.
std::string escaped(std::string_view text, std::string_view characters, std::string_view before);

/// The text in one line.
std::string inOneLine(std::string text);

/// The frame with each @KEY@ that `parts` has replaced by its part. Throws `std::invalid_argument`
/// for a part that the frame has no place for.
std::string filled(std::string_view frame, const std::map<std::string, std::string>& parts);
