// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELKeychain.h"
#include "Platform/X509/VELX509Trust.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What keychains over OpenSSL share: everything but their contents.
class VELX509Keychain : public VELKeychain {
public:
    [[nodiscard]] std::string statusText(VELSecurityStatus status) const override;

protected:
    explicit VELX509Keychain(VELX509Trust::Clock clock);

    [[nodiscard]] VELMoment now() const { return _clock(); }

    /// The certificates of `candidates`, their issuers in `pool`, that are valid now and have
    /// `issuer` in their issuer chain; null in the place of the others.
    [[nodiscard]] std::vector<std::shared_ptr<const VELX509Certificate>>
    matchingCertificates(const std::vector<std::string_view>& candidates, const std::string& issuer,
                         const std::shared_ptr<const VELCertificatePool>& pool) const;

private:
    VELX509Trust::Clock _clock;
};
