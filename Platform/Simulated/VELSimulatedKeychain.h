// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/X509/VELX509Keychain.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// An identity in plain data, and how what is asked of it fails: a status other than 0.
struct VELSimulatedIdentity {
    std::string certificate = {}; ///< DER; bytes that are no certificate match no issuer
    std::int32_t certificateStatus = 0;
    std::int32_t trustStatus = 0;
    std::int32_t anchorsStatus = 0;
};

/// A keychain in plain data. Counts what it is asked, and how much of what it handed out is still
/// out. The certificates of identities count as issuers, but are not in the list of certificates.
class VELSimulatedKeychain final : public VELX509Keychain {
public:
    VELSimulatedKeychain();

    /// When certificates are valid. Absent: now, by the clock of this machine.
    std::optional<VELMoment> date;

    /// In the order in which they are answered; any bytes.
    std::vector<std::string> certificateList;
    /// Absent: 0, or that of an item not found when the list is empty.
    std::optional<std::int32_t> certificatesStatus;

    std::vector<VELSimulatedIdentity> identityList;
    /// Other than 0: nothing is looked for.
    std::int32_t identitiesStatus = 0;

    struct Counts {
        std::atomic<unsigned> certificates = 0;
        std::atomic<unsigned> identities = 0;
        std::atomic<unsigned> identityCertificates = 0;
        std::atomic<unsigned> commonNames = 0;
        std::atomic<unsigned> trusts = 0;
        std::atomic<unsigned> anchors = 0;
        std::atomic<unsigned> evaluations = 0;
        /// Identities, their certificates and trust objects that have not been given back.
        std::atomic<int> handedOut = 0;
    };
    mutable Counts counts;

    [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override;
    [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override;
    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;

private:
    [[nodiscard]] std::shared_ptr<const VELCertificatePool> pool() const;
};
