// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELKeychain.h"
#include "Platform/X509/VELX509Trust.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What keychains over OpenSSL share: everything but what is in them.
class VELX509Keychain : public VELKeychain {
public:
    [[nodiscard]] std::string statusText(std::int32_t status) const override;

    [[nodiscard]] std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const override;

    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;

    /// Intermediates come from the keychain as it was when an identity handed the certificate out;
    /// one that was parsed from bytes has none. Fails with the status of a wrong parameter for a
    /// certificate of another platform.
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;

    [[nodiscard]] std::string sha1(std::string_view bytes) const override;

protected:
    explicit VELX509Keychain(VELX509Trust::Clock clock);

    /// The certificates of `candidates`, their issuers in `pool`, that are valid now and have
    /// `issuer` in their issuer chain; null in the place of the others.
    [[nodiscard]] std::vector<std::shared_ptr<const VELX509Certificate>>
    matchingCertificates(const std::vector<std::string_view>& candidates, const std::string& issuer,
                         const std::shared_ptr<const VELCertificatePool>& pool) const;

private:
    VELX509Trust::Clock _clock;
};
