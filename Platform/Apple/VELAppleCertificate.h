// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Apple/VELCFReference.h"
#include "Platform/VELCertificate.h"

#include <Security/Security.h>

#include <memory>

/// A certificate that the system has parsed. The system does not tell a subject without a common
/// name from one that cannot be decoded: the common names are absent for both, never empty.
class VELAppleCertificate final : public VELCertificate {
public:
    /// Null: there is no certificate, or its bytes cannot be had.
    static std::shared_ptr<const VELAppleCertificate>
    make(VELCFReference<SecCertificateRef> certificate);

    [[nodiscard]] const std::string& der() const override;
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override;
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override;
    [[nodiscard]] std::optional<std::string> subjectSummary() const override;

    /// Lent: it lives as long as this object.
    [[nodiscard]] SecCertificateRef object() const { return _certificate.get(); }

private:
    VELAppleCertificate(VELCFReference<SecCertificateRef> certificate, std::string der);

    VELCFReference<SecCertificateRef> _certificate;
    std::string _der;
};
