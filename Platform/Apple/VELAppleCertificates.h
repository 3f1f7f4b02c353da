// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificates.h"

/// Certificates and trust, through Security. Trust evaluation asks the system's trust service,
/// without a time-out.
class VELAppleCertificates final : public VELCertificates {
public:
    [[nodiscard]] std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const override;

    /// Absent also for a subject without a common name: see `VELAppleCertificate`.
    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;

    /// Fails with the status of a wrong parameter for a certificate of another platform.
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;

    [[nodiscard]] std::string sha1(std::string_view bytes) const override;
};
