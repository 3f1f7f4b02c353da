// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Platform/X509/VELX509Certificates.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Certificates that were parsed, by their bytes: for machines that are asked about the same ones,
/// one after another. Safe from several threads.
class VELParsedCertificates {
public:
    /// As `VELCertificates::parseCertificate`; bytes that came before are not parsed again.
    std::shared_ptr<const VELCertificate> certificateOf(std::string_view der);

private:
    std::mutex _mutex;
    std::map<std::string, std::shared_ptr<const VELCertificate>, std::less<>> _certificates;
};

/// Certificates at the date of a simulated keychain, whose identities say how trust in them fails,
/// and which may know what trust comes to.
/// Counts what it is asked, and how much of what it handed out is still out.
class VELSimulatedCertificates final : public VELX509Certificates {
public:
    /// The keychain lives as long.
    explicit VELSimulatedCertificates(const VELSimulatedKeychain& keychain);

    struct Counts {
        std::atomic<unsigned> commonNames = 0;
        std::atomic<unsigned> trusts = 0;
        std::atomic<unsigned> anchors = 0;
        std::atomic<unsigned> evaluations = 0;
        /// Trust objects that have not been given back.
        std::atomic<int> handedOut = 0;
    };
    mutable Counts counts;

    /// Where parsed certificates are kept. Null: nowhere.
    std::shared_ptr<VELParsedCertificates> parsed;

    [[nodiscard]] std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const override;
    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;

private:
    const VELSimulatedKeychain& _keychain;
};
