// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/VELCertificate.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELOpenSSL.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class VELCertificatePool;

/// A certificate whose parts are read from its encoding once and kept; its key and its signature
/// are OpenSSL's, which decodes them when they are first needed. Immutable; safe on several
/// threads.
class VELX509Certificate final : public VELCertificate {
public:
    /// The certificate at the start of `der`. Null: the bytes are no certificate. `pool`, which may
    /// be null, is where its issuers are looked for.
    static std::shared_ptr<const VELX509Certificate>
    parse(std::string_view der, std::shared_ptr<const VELCertificatePool> pool = nullptr);

    /// Parts that point to bytes of its own.
    VELX509Certificate(const VELX509Certificate&) = delete;
    VELX509Certificate& operator=(const VELX509Certificate&) = delete;

    [[nodiscard]] const std::string& der() const override { return _der; }
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override;
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override { return _subject; }
    [[nodiscard]] std::optional<std::string> subjectSummary() const override;

    /// As `normalizedSubject` and `normalizedIssuer`, without a copy.
    [[nodiscard]] const std::optional<std::string>& subject() const { return _subject; }
    [[nodiscard]] const std::optional<std::string>& issuer() const { return _issuer; }

    [[nodiscard]] const vel::x509::CertificateParts& parts() const { return _parts; }

    [[nodiscard]] bool isSelfIssued() const { return _subject && _subject == _issuer; }

    /// Whether `moment` is within the validity, both ends included.
    [[nodiscard]] bool isValidAt(VELMoment moment) const {
        return _parts.notBefore <= moment && moment <= _parts.notAfter;
    }

    [[nodiscard]] const std::shared_ptr<const VELCertificatePool>& pool() const { return _pool; }

    /// OpenSSL's own object; it guards what it caches, so it may be used on several threads. Null:
    /// OpenSSL cannot decode the certificate, which then cannot be trusted. Throws as
    /// `vel::x509::raiseFailure` does.
    [[nodiscard]] X509* x509() const;

private:
    explicit VELX509Certificate(std::string_view der) : _der(der) {}

    std::string _der;
    vel::x509::CertificateParts _parts;
    std::optional<std::string> _subject;
    std::optional<std::string> _issuer;
    std::shared_ptr<const VELCertificatePool> _pool;

    mutable std::mutex _mutex;
    // Absent: not decoded yet.
    mutable std::optional<vel::x509::CertificateHandle> _x509;
};
