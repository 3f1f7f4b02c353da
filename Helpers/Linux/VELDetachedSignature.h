// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vel {

/// Why a signature was not accepted, for people.
struct SignatureRefusal {
    std::string reason;
};

/// The certificate of the signer of an accepted signature, in DER.
using SignerCertificate = std::string;

/// Verifies a detached CMS signature (RFC 5652, DER, and nothing beside it) over what `content`, an
/// open file, holds from its beginning to its end. Accepted is a signature of exactly one signer,
/// over a digest (SHA-256, -384 or -512, or SHA3-256, -384 or -512), made with the key of a
/// certificate that it carries. That certificate has to have a form that is accepted in an
/// identity's (Documentation/certificate-forms.md), and OpenSSL has to decode all its extensions.
///
/// `anchors` are certificates in DER, of which one must be, or lead through the signature's own
/// certificates to, the signer's, all of them valid now and of such a form. Null: the signer may be
/// anybody, and what its certificate says of it is its own claim.
std::variant<SignerCertificate, SignatureRefusal>
verifyDetachedSignature(std::string_view signature, int content,
                        const std::vector<std::string>* anchors);

/// The certificates in a file, PEM (any number) or DER (one), each in DER. Empty when there is none
/// or one does not parse.
std::vector<std::string> certificatesInFile(std::string_view file);

} // namespace vel
