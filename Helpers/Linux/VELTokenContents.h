// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

/// What the PKCS#11 tokens of this machine hold.
namespace vel {

/// The certificates of all tokens that are present and initialised, as text, one a line:
///
///     certificate <base64 of the DER>
///     identity <base64 of the DER>
///     end <number of lines before>
///
/// An identity is a certificate whose private key is on the same token with the same CKA_ID, or
/// whose public key is where private keys show after login alone. Nobody is ever asked for a PIN.
/// The order is that of the tokens' serial numbers, CKA_ID and DER, whatever order the modules
/// answer in.
///
/// The modules are those that the machine registers for p11-kit, but for those that are a store of
/// trust policy (the public roots are not the user's); or, when `module` is not empty, the one at
/// that path alone. Throws `std::runtime_error` when a module or token fails: what is known in part
/// is not known. More than 64 MiB of certificates are too much.
std::string tokenContents(const std::string& module);

} // namespace vel
