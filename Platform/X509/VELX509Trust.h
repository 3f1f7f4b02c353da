// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELTrust.h"
#include "Platform/X509/VELCertificatePool.h"

#include <functional>
#include <memory>
#include <optional>

/// The evaluation of a certificate's chain under the basic X.509 policy. Issuers are looked for in
/// the certificate's own pool. Of several chains one that is valid is enough. How many are tried is
/// bounded; a chain beyond that is not found. Not for several threads at once.
class VELX509Trust final : public VELTrust {
public:
    using Clock = std::function<VELMoment()>;

    /// The time of day of this machine.
    static VELMoment now();

    VELX509Trust(std::shared_ptr<const VELX509Certificate> certificate, Clock clock);

    /// Fails with the status of a wrong parameter when the anchor is none that this platform
    /// parsed.
    VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override;

    bool evaluate(std::optional<VELError>* error) override;

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
    std::shared_ptr<const VELX509Certificate> _anchor;
    Clock _clock;
};
