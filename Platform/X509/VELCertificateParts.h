// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/X509/VELCertificateExtensions.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Certificates read from their DER encoding alone, in the forms that the platform reads
/// (Documentation/certificate-forms.md): no key is decoded and nothing is verified.
namespace vel::x509 {

struct CertificateParts {
    std::string_view whole; ///< the certificate itself, without bytes that follow it
    int version = 1;        ///< 1 to 3
    /// With tag and length. They need not be well-formed names.
    std::string_view issuer;
    std::string_view subject;
    /// The first and the last moment of the validity.
    VELMoment notBefore;
    VELMoment notAfter;
    CertificateExtensions extensions;
};

/// The parts of the certificate at the start of `bytes`. Nothing: there is no well-formed one.
std::optional<CertificateParts> certificateParts(std::string_view bytes);

/// The common names of the subject of the certificate at the start of `bytes`, as
/// `commonNamesOfName` answers them. Nothing also when there is no certificate.
std::optional<std::vector<std::string>> commonNamesOfCertificate(std::string_view bytes);

} // namespace vel::x509
