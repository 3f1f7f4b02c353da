// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vel {

/// The subject of the X.509 certificate that `der` is, and nothing beside it, in the form
/// "/CN=Agent/OU=TEAM42/O=Sample": the attributes in their order, those of one name element as
/// others; short names of OpenSSL, else the object identifier in dots. Nothing when it is none.
///
/// A value is its text in UTF-8, whatever its string type; a byte that is not printable ASCII is
/// written "\xHH". A slash is written "\2F" and a backslash "\5C": a value can not look like an
/// attribute, and no two values look the same.
std::optional<std::string> certificateSubject(std::string_view der);

} // namespace vel
