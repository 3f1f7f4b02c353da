// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Base64 with the standard alphabet ("+" and "/") and padding.
namespace vel {

/// `bytes` as base64 on one line. No bytes are the empty text.
std::string base64Text(std::string_view bytes);

/// The bytes that a base64 text stands for; ASCII white space anywhere in it does not count.
/// Nothing if it holds another character, is not padded to groups of four, or has padding elsewhere
/// than at its end. Unused bits of the last group may be anything.
std::optional<std::string> bytesOfBase64(std::string_view text);

/// The bytes that a base64 text stands for, however it is written: every character outside the
/// alphabet is skipped, also between padding; padding beyond what is needed and unused bits of the
/// last group are ignored. The empty text is no bytes. Nothing when padding is missing, when there
/// is nothing but padding, or when more follows the padding.
std::optional<std::string> bytesOfBase64IgnoringUnknown(std::string_view text);

} // namespace vel
