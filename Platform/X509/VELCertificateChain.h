// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/X509/VELX509Certificate.h"
#include "vel_device_trust/VELError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

/// What the basic X.509 policy says of a chain of certificates.
namespace vel::x509 {

using CertificatePointer = std::shared_ptr<const VELX509Certificate>;

/// From the leaf upwards. An anchored chain ends with the anchor.
struct CertificateChain {
    std::vector<CertificatePointer> certificates;
    bool isAnchored = false;
};

/// The checks that a chain can fail, in the order of their weight: of several failures the first
/// one is reported.
enum class ChainCheck : std::uint8_t {
    keySize,
    signatureAlgorithm,
    basicConstraints,
    basicConstraintsAuthority,
    pathLength,
    identifierLinkage,
    criticalExtension,
    unreadableExtension,
    duplicateExtension,
    nonEmptySubject,
    nameConstraints,
    policyConstraints,
    anchorTrusted,
    missingIntermediate,
    keyUsage,
    validity,
};

/// A failed check and the certificate's position in the chain.
struct ChainFailure {
    ChainCheck check;
    std::size_t position;

    friend bool operator==(const ChainFailure&, const ChainFailure&) = default;
};

/// Whether `left` is reported rather than `right`: failures of a weightier kind first, then those
/// nearer to the leaf.
bool outweighs(const ChainFailure& left, const ChainFailure& right);

/// The failure of the chain that is reported; nothing when there is none but for what
/// `verifiedFailure` finds. The signatures of the chain are not verified.
std::optional<ChainFailure> policyFailure(const CertificateChain& chain, VELMoment moment);

/// What makes every chain fail that ends at `anchor`, the weightiest first; nothing when there is
/// no such thing.
std::vector<ChainCheck> anchorFailures(const CertificatePointer& anchor, VELMoment moment);

/// What OpenSSL's verification of an anchored chain finds beside that: signatures, policy
/// constraints, and name constraints once more. Exactly this chain is verified.
std::optional<ChainFailure> verifiedFailure(const CertificateChain& chain);

/// Whether `parent`'s key made the signature of `child`. An algorithm that is too old to be
/// verified counts as if: its chain fails for the algorithm.
bool isSignedBy(const VELX509Certificate& child, const VELX509Certificate& parent);

/// The platform's error for a failure, in the domain "NSOSStatusErrorDomain".
VELError errorOf(const ChainFailure& failure, const CertificateChain& chain);

} // namespace vel::x509
