// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificate.h"
#include "Platform/VELTrust.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// @file
/// The keychain. Its statuses are the platform's integers; 0 is success.

/// The status that says that nothing was found.
inline constexpr std::int32_t keychainItemNotFound = -25300;

/// A certificate in the keychain whose private key is there too.
class VELIdentity {
public:
    virtual ~VELIdentity() = default;

    /// A certificate, or why there is none.
    struct CertificateResult {
        /// 0, or why the certificate cannot be had.
        std::int32_t status;
        /// Set when the status is 0.
        std::shared_ptr<const VELCertificate> certificate;
    };
    /// The identity's certificate.
    [[nodiscard]] virtual CertificateResult copyCertificate() const = 0;
};

/// The calling user's keychains, read only, and what certificates need beside: parsing and trust.
/// What an operation hands out is released when it leaves scope.
class VELKeychain {
public:
    virtual ~VELKeychain() = default;

    /// Certificates, or why there are none.
    struct CertificatesResult {
        /// 0, or why the keychains do not answer.
        std::int32_t status;
        /// When the status is 0: the bytes of each certificate as the keychain stores them, in a
        /// stable order.
        std::vector<std::string> certificates;
    };
    /// The certificates of the keychains, `limit` of them at most. No certificate at all is the
    /// status `keychainItemNotFound`, never an empty list; what fails in part fails whole.
    [[nodiscard]] virtual CertificatesResult certificates(std::size_t limit) const = 0;

    /// Identities, or why there are none.
    struct IdentitiesResult {
        /// 0, or why the keychains do not answer.
        std::int32_t status;
        /// When the status is 0: in a stable order.
        std::vector<std::unique_ptr<VELIdentity>> identities;
    };
    /// The identities that are valid now and whose issuer chain, as far as the keychain holds it,
    /// has the normalised subject `issuer`. None is the status `keychainItemNotFound`.
    [[nodiscard]] virtual IdentitiesResult identities(const std::string& issuer) const = 0;

    /// The readable text of a status.
    [[nodiscard]] virtual std::string statusText(std::int32_t status) const = 0;

    /// The certificate at the start of `der`. Null: the bytes are no certificate.
    [[nodiscard]] virtual std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const = 0;

    /// The common names of the certificate at the start of `der`, as
    /// `VELCertificate::commonNames` answers them, read without parsing more than that needs.
    /// Absent also when the bytes are no certificate.
    [[nodiscard]] virtual std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const = 0;

    /// A trust object, or why there is none.
    struct TrustResult {
        /// 0, or why it cannot be made.
        std::int32_t status;
        /// Set when the status is 0.
        std::unique_ptr<VELTrust> trust;
    };
    /// A trust object for `certificate` alone, under the basic X.509 policy.
    [[nodiscard]] virtual TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const = 0;

    /// The SHA-1 digest of `bytes`: 20 bytes.
    [[nodiscard]] virtual std::string sha1(std::string_view bytes) const = 0;
};
