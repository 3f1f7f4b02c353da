// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// Base64 (RFC 4648, standard alphabet, padded) of `bytes`, in one line.
std::string encodeBase64(std::string_view bytes);

/// The bytes of a base64 text; every character outside the alphabet is skipped, also between
/// padding. An empty text is no bytes. Nothing when padding is missing, when there is nothing but
/// padding, or when more follows the padding. Padding beyond what is needed is accepted, bits that
/// are left over are ignored.
std::optional<std::string> decodeBase64IgnoringUnknown(std::string_view text);

} // namespace vel
