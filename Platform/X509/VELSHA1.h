// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

namespace vel::x509 {

/// The SHA-1 digest of `bytes`: 20 bytes. Throws when OpenSSL cannot compute it.
std::string sha1(std::string_view bytes);

} // namespace vel::x509
