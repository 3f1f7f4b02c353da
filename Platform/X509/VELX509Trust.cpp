// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Trust.h"

#include "Platform/X509/VELCertificateChain.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

namespace {

using namespace vel::x509;

constexpr std::size_t longestChain = 16;
constexpr unsigned maximumChains = 64;
constexpr unsigned maximumSignatures = 256;

/// Walks from the leaf upwards through every chain that its issuers' names allow.
class ChainSearch {
public:
    ChainSearch(CertificatePointer leaf, CertificatePointer anchor, VELMoment moment)
        : _leaf(std::move(leaf)), _anchor(std::move(anchor)), _moment(moment) {}

    /// Nothing: there is a valid chain.
    std::optional<VELError> run() {
        if (walk()) {
            return std::nullopt;
        }
        // Now for the reason: every link by its signature, also where no anchor is reached.
        _seeksReason = true;
        _chains = 0;
        if (walk()) {
            return std::nullopt;
        }
        return errorOf(*_reason, _reported);
    }

private:
    bool walk() {
        _chain.certificates.push_back(_leaf);
        const bool isTrusted = walkOn();
        _chain.certificates.pop_back();
        return isTrusted;
    }

    [[nodiscard]] bool isAnchor(const VELX509Certificate& certificate) const {
        return _anchor != nullptr && certificate.der() == _anchor->der();
    }

    bool walkOn() {
        const CertificatePointer child = _chain.certificates.back();
        if (isAnchor(*child)) {
            return judge(true);
        }
        const bool isAtEnd = _chain.certificates.size() >= longestChain || isSelfSigned(*child);
        const auto issuers = isAtEnd ? std::vector<CertificatePointer>() : issuersOf(*child);
        for (const CertificatePointer& issuer : issuers) {
            if (_chains >= maximumChains) {
                break;
            }
            _chain.certificates.push_back(issuer);
            const bool isTrusted = walkOn();
            _chain.certificates.pop_back();
            if (isTrusted) {
                return true;
            }
        }
        return issuers.empty() && judge(false);
    }

    /// The certificates that may have issued `child`, the anchor first. One alone is left to the
    /// verification of the whole chain.
    std::vector<CertificatePointer> issuersOf(const VELX509Certificate& child) {
        std::vector<CertificatePointer> issuers;
        if (!child.issuer()) {
            return issuers;
        }
        if (_anchor != nullptr && _anchor->subject() == child.issuer()) {
            issuers.push_back(_anchor);
        }
        if (_leaf->pool() != nullptr) {
            // The keychain's own copy of the anchor is the same certificate: it is not decoded.
            const std::string_view anchor = _anchor ? _anchor->der() : std::string_view();
            for (CertificatePointer& found :
                 _leaf->pool()->certificatesOf(*child.issuer(), maximumSignatures, anchor)) {
                if (!isInChain(*found)) {
                    issuers.push_back(std::move(found));
                }
            }
        }
        if (_seeksReason || issuers.size() > 1) {
            std::erase_if(issuers, [&](const CertificatePointer& issuer) {
                return !isLinked(child, *issuer);
            });
        }
        return issuers;
    }

    [[nodiscard]] bool isInChain(const VELX509Certificate& certificate) const {
        const auto& chain = _chain.certificates;
        return std::any_of(chain.begin(), chain.end(),
                           [&](const auto& other) { return other->der() == certificate.der(); });
    }

    /// A chain ends at a certificate of which this is true, also where another one has its key.
    bool isSelfSigned(const VELX509Certificate& certificate) {
        return certificate.isSelfIssued() && isLinked(certificate, certificate);
    }

    bool isLinked(const VELX509Certificate& child, const VELX509Certificate& issuer) {
        const std::pair link(&child, &issuer);
        if (const auto known = _links.find(link); known != _links.end()) {
            return known->second;
        }
        if (_links.size() >= maximumSignatures) {
            return false;
        }
        return _links[link] = isSignedBy(child, issuer);
    }

    /// Whether the chain as it stands is valid. If not, and the reason is sought, keeps the reason
    /// of the chain that came nearest.
    bool judge(bool isAnchored) {
        ++_chains;
        if (!isAnchored && !_seeksReason) {
            return false;
        }
        _chain.isAnchored = isAnchored;
        std::optional<ChainFailure> failure = policyFailure(_chain, _moment);
        if (isAnchored && (!failure || _seeksReason)) {
            const auto verified = verifiedFailure(_chain);
            if (verified && (!failure || isMoreThan(*verified, *failure))) {
                failure = verified;
            }
        }
        if (failure && _seeksReason && isNearer(*failure)) {
            _reason = failure;
            _reported = _chain;
        }
        return !failure;
    }

    /// Verification calls much untrusted that has a better name among the policy's own checks.
    static bool isMoreThan(const ChainFailure& verified, const ChainFailure& failure) {
        return verified.check != ChainCheck::anchorTrusted && outweighs(verified, failure);
    }

    [[nodiscard]] bool isNearer(const ChainFailure& failure) const {
        if (!_reason || _chain.isAnchored != _reported.isAnchored) {
            return !_reason || _chain.isAnchored;
        }
        return outweighs(*_reason, failure);
    }

    const CertificatePointer _leaf;
    const CertificatePointer _anchor;
    const VELMoment _moment;
    bool _seeksReason = false;
    unsigned _chains = 0;
    CertificateChain _chain;
    std::map<std::pair<const void*, const void*>, bool> _links;
    std::optional<ChainFailure> _reason;
    CertificateChain _reported;
};

} // namespace

VELMoment VELX509Trust::now() {
    using namespace std::chrono;
    return time_point_cast<microseconds>(system_clock::now());
}

VELX509Trust::VELX509Trust(std::shared_ptr<const VELX509Certificate> certificate, Clock clock)
    : _certificate(std::move(certificate)), _clock(std::move(clock)) {}

VELSecurityStatus VELX509Trust::setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) {
    auto own = std::dynamic_pointer_cast<const VELX509Certificate>(std::move(anchor));
    if (own == nullptr) {
        return VELSecurityStatus::parameter;
    }
    _anchor = std::move(own);
    return VELSecurityStatus::success;
}

bool VELX509Trust::evaluate(std::optional<VELError>* error) {
    auto failure = ChainSearch(_certificate, _anchor, _clock()).run();
    if (failure) {
        *error = std::move(failure);
        return false;
    }
    return true;
}
