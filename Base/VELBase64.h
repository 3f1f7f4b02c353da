// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Base64 with the standard alphabet ("+" and "/") and padding.
namespace vel {

/// `bytes` as base64 on one line; empty for no bytes.
std::string base64Text(std::string_view bytes);

/// Decodes base64, ignoring ASCII white space. Returns nullopt if the text contains another
/// character, is not padded to groups of four, or has padding elsewhere than at its end. Unused
/// bits of the last group are ignored.
std::optional<std::string> bytesOfBase64(std::string_view text);

/// Decodes base64 leniently: skips every character outside the alphabet, also between padding, and
/// ignores excess padding and unused bits of the last group. The empty text decodes to no bytes.
/// Returns nullopt if padding is missing, if there is only padding, or if more text follows it.
std::optional<std::string> bytesOfBase64IgnoringUnknown(std::string_view text);

} // namespace vel
