// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificates.h"
#include "Platform/X509/VELX509Trust.h"

/// Certificates and trust over OpenSSL.
class VELX509Certificates : public VELCertificates {
public:
    /// `clock` tells when certificates are to be valid.
    explicit VELX509Certificates(VELX509Trust::Clock clock = VELX509Trust::now);

    [[nodiscard]] std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const override;

    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;

    /// Intermediates come from the keychain as it was when an identity handed the certificate out;
    /// one that was parsed from bytes has none. Fails with the status `parameter` for a certificate
    /// of another platform.
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;

    [[nodiscard]] std::string sha1(std::string_view bytes) const override;

private:
    VELX509Trust::Clock _clock;
};
