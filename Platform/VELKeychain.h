// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/VELCertificate.h"
#include "Platform/VELSecurityStatus.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

/// A certificate in the keychain whose private key is there too.
class VELIdentity {
public:
    virtual ~VELIdentity() = default;

    /// A certificate, or why there is none.
    struct CertificateResult {
        /// `success`, or why the certificate cannot be had.
        VELSecurityStatus status;
        /// Set when the status is `success`.
        std::shared_ptr<const VELCertificate> certificate;
    };
    /// The identity's certificate.
    [[nodiscard]] virtual CertificateResult copyCertificate() const = 0;
};

/// The calling user's keychains, read only. What an operation hands out is released when it leaves
/// scope.
class VELKeychain {
public:
    virtual ~VELKeychain() = default;

    /// Certificates, or why there are none.
    struct CertificatesResult {
        /// `success`, or why the keychains do not answer.
        VELSecurityStatus status;
        /// When the status is `success`: the bytes of each certificate as the keychain stores them,
        /// in a stable order.
        std::vector<std::string> certificates;
    };
    /// The certificates of the keychains, `limit` of them at most. No certificate at all is the
    /// status `itemNotFound`, never an empty list; any partial failure fails the call.
    [[nodiscard]] virtual CertificatesResult certificates(std::size_t limit) const = 0;

    /// Identities, or why there are none.
    struct IdentitiesResult {
        /// `success`, or why the keychains do not answer.
        VELSecurityStatus status;
        /// When the status is `success`: in a stable order.
        std::vector<std::unique_ptr<VELIdentity>> identities;
    };
    /// The identities that are valid now and whose issuer chain, as far as the keychain holds it,
    /// has the normalised subject `issuer`. None is the status `itemNotFound`.
    [[nodiscard]] virtual IdentitiesResult identities(const std::string& issuer) const = 0;

    /// The certificates of all identities, or why there are none.
    struct AllIdentitiesResult {
        /// `success`, or why the keychains do not answer.
        VELSecurityStatus status;
        /// When the status is `success`: the bytes of each certificate, in a stable order.
        std::vector<std::string> certificates;
        /// When identities have to be valid to be found by their issuer: the time of the question.
        VELMoment moment;
    };
    /// Every identity, valid or not, whoever issued it: to say why `identities` finds none. None at
    /// all is the status `itemNotFound`; any partial failure fails the call.
    [[nodiscard]] virtual AllIdentitiesResult allIdentities() const = 0;

    /// The readable text of a status.
    [[nodiscard]] virtual std::string statusText(VELSecurityStatus status) const = 0;
};
