// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Certificates read from their DER encoding alone: no key is decoded and nothing is verified.
namespace vel::x509 {

/// Where the parts of a certificate stand, each with its tag and length.
struct CertificateParts {
    std::string_view whole; ///< the certificate itself, without bytes that follow it
    std::string_view issuer;
    std::string_view subject;
    /// The content of the list of extensions; empty when there is none.
    std::string_view extensions;
};

/// The parts of the certificate at the start of `bytes`. Nothing: there is no well-formed one.
std::optional<CertificateParts> certificateParts(std::string_view bytes);

/// The common names of the subject of the certificate at the start of `bytes`. Nothing also when it
/// is none.
std::optional<std::vector<std::string>> commonNamesOfCertificate(std::string_view bytes);

/// Whether the list of extensions is well formed and has each type once.
enum class ExtensionList { wellFormed, malformed, duplicate };
ExtensionList extensionList(std::string_view extensions);

} // namespace vel::x509
