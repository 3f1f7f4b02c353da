// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/VELCertificate.h"
#include "Platform/X509/VELOpenSSL.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

class VELCertificatePool;

/// A certificate over OpenSSL. Immutable.
class VELX509Certificate final : public VELCertificate {
public:
    /// The certificate at the start of `der`. Null: the bytes are no certificate. `pool`, which may
    /// be null, is where its issuers are looked for.
    static std::shared_ptr<const VELX509Certificate>
    parse(std::string_view der, std::shared_ptr<const VELCertificatePool> pool = nullptr);

    [[nodiscard]] const std::string& der() const override { return _der; }
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override;
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override { return _subject; }
    [[nodiscard]] std::optional<std::string> subjectSummary() const override;

    /// As `normalizedSubject` and `normalizedIssuer`, without a copy.
    [[nodiscard]] const std::optional<std::string>& subject() const { return _subject; }
    [[nodiscard]] const std::optional<std::string>& issuer() const { return _issuer; }

    [[nodiscard]] bool isSelfIssued() const { return _subject && _subject == _issuer; }

    /// The first and the last moment of the validity. Absent: the date cannot be read.
    [[nodiscard]] std::optional<VELMoment> notBefore() const;
    [[nodiscard]] std::optional<VELMoment> notAfter() const;

    /// Whether `moment` is within the validity, both ends included. Never, when the dates cannot be
    /// read.
    [[nodiscard]] bool isValidAt(VELMoment moment) const;

    /// Whether an extension is there twice; whether one cannot be read.
    [[nodiscard]] bool hasDuplicateExtension() const { return _hasDuplicateExtension; }
    [[nodiscard]] bool hasUnreadableExtension() const { return _hasUnreadableExtension; }

    [[nodiscard]] const std::shared_ptr<const VELCertificatePool>& pool() const { return _pool; }

    /// OpenSSL's own object; it guards what it caches, so it may be used on several threads.
    [[nodiscard]] X509* x509() const { return _x509.get(); }

private:
    VELX509Certificate() = default;

    [[nodiscard]] std::optional<std::string> firstAlternativeName(int type) const;

    std::string _der;
    std::optional<std::string> _subject;
    std::optional<std::string> _issuer;
    bool _hasDuplicateExtension = false;
    bool _hasUnreadableExtension = false;
    std::shared_ptr<const VELCertificatePool> _pool;
    vel::x509::CertificateHandle _x509;
};

/// The certificates of a keychain, found by their subject. One is decoded when it is first needed.
/// Immutable; safe on several threads.
class VELCertificatePool {
public:
    /// Bytes that are no certificate, and equal bytes, do not count.
    explicit VELCertificatePool(const std::vector<std::string>& certificates);

    /// The first certificates with the normalised subject `subject`, in order: what is behind them
    /// costs nothing.
    [[nodiscard]] std::vector<std::shared_ptr<const VELX509Certificate>>
    certificatesOf(const std::string& subject, std::size_t limit) const;

    /// The normalised subjects of the certificates with the normalised issuer `issuer`. They are
    /// valid as long as the pool.
    [[nodiscard]] std::vector<std::string_view> subjectsOf(std::string_view issuer) const;

private:
    struct Entry {
        std::string der;
        std::once_flag decodeOnce;
        std::shared_ptr<const VELX509Certificate> certificate;
    };

    std::multimap<std::string, std::unique_ptr<Entry>, std::less<>> _bySubject;
    /// The keys of the former by the issuers of what is under them.
    std::multimap<std::string, std::string_view, std::less<>> _subjectsByIssuer;
};

namespace vel::x509 {

/// The normalised names of issuers from which a chain of names leads to the name `wanted`: itself,
/// and those that are at most ten issuers in the pool (which may be null) below it. Names alone
/// count: nothing is verified.
std::set<std::string, std::less<>> issuersLeadingTo(const std::string& wanted,
                                                    const VELCertificatePool* pool);

/// The SHA-1 digest of `bytes`: 20 bytes.
std::string sha1(std::string_view bytes);

} // namespace vel::x509
