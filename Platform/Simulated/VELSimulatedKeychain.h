// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/Simulated/VELSimulatedHandle.h"
#include "Platform/X509/VELX509Keychain.h"
#include "vel_device_trust/VELError.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// An identity in plain data, and how what is asked of it fails: a status other than `success`.
struct VELSimulatedIdentity {
    std::string certificate = {}; ///< DER; bytes that are no certificate match no issuer
    VELSecurityStatus certificateStatus = VELSecurityStatus::success;
    VELSecurityStatus trustStatus = VELSecurityStatus::success;
    VELSecurityStatus anchorsStatus = VELSecurityStatus::success;
};

/// What a query for the identities of one issuer answers, in plain data.
struct VELSimulatedIdentityQuery {
    std::string issuer = {}; ///< normalised subject
    /// Absent: `success`, or `itemNotFound` without an identity.
    std::optional<VELSecurityStatus> status = std::nullopt;
    /// All are answered, whatever their issuer and validity.
    std::vector<VELSimulatedIdentity> identities = {};
};

/// The trust in one certificate, in plain data.
struct VELSimulatedTrust {
    std::string certificate = {}; ///< DER
    VELSecurityStatus trustStatus = VELSecurityStatus::success;
    /// DER. What is below is said of this anchor alone.
    std::optional<std::string> anchor = std::nullopt;
    VELSecurityStatus anchorsStatus = VELSecurityStatus::success;
    bool isTrusted = false;
    /// Why it is not trusted.
    std::optional<VELError> error = std::nullopt;
};

/// An identity's certificate, which knows whose it is. The keychain outlives it.
class VELSimulatedIdentityCertificate final : public VELCertificate {
public:
    VELSimulatedIdentityCertificate(std::shared_ptr<const VELX509Certificate> certificate,
                                    const VELSimulatedIdentity& identity,
                                    std::atomic<int>& handedOut);

    [[nodiscard]] const std::string& der() const override;
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override;
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override;
    [[nodiscard]] std::optional<std::string> subjectSummary() const override;

    [[nodiscard]] const auto& certificate() const { return _certificate; }
    [[nodiscard]] const VELSimulatedIdentity& identity() const { return _identity; }

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
    const VELSimulatedIdentity& _identity;
    VELSimulatedHandle _handle;
};

/// A keychain in plain data. Counts what it is asked, and how much of what it handed out is still
/// out. The certificates of identities count as issuers, but are not in the list of certificates.
class VELSimulatedKeychain final : public VELX509Keychain {
public:
    VELSimulatedKeychain();

    /// When certificates are valid. Absent: now, by the clock of this machine.
    std::optional<VELMoment> date;
    /// The date, or what stands for it.
    [[nodiscard]] VELMoment moment() const { return date ? *date : VELX509Trust::now(); }

    /// In the order in which they are answered; any bytes.
    std::vector<std::string> certificateList;
    /// Absent: `success`, or `itemNotFound` when the list is empty.
    std::optional<VELSecurityStatus> certificatesStatus;

    std::vector<VELSimulatedIdentity> identityList;
    /// Absent: `success`, or `itemNotFound` when none is found. Other than `success`: nothing is
    /// looked for.
    std::optional<VELSecurityStatus> identitiesStatus;

    /// Queries whose answers are known: nothing is looked for then.
    std::vector<VELSimulatedIdentityQuery> identityQueries;
    /// Trust that is known: nothing is evaluated then.
    std::vector<VELSimulatedTrust> trustAnswers;

    struct Counts {
        std::atomic<unsigned> certificates = 0;
        std::atomic<unsigned> identities = 0;
        std::atomic<unsigned> identityCertificates = 0;
        std::atomic<unsigned> allIdentities = 0;
        /// Identities and their certificates that have not been given back.
        std::atomic<int> handedOut = 0;
    };
    mutable Counts counts;

    [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override;
    [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override;
    [[nodiscard]] AllIdentitiesResult allIdentities() const override;

private:
    [[nodiscard]] std::shared_ptr<const VELCertificatePool> pool() const;
    [[nodiscard]] IdentitiesResult answer(const VELSimulatedIdentityQuery& query) const;
};
