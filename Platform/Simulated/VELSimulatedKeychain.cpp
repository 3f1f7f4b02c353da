// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedKeychain.h"

#include "Platform/X509/VELSecurityStatus.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace {

using Counts = VELSimulatedKeychain::Counts;

class HandedOut {
public:
    explicit HandedOut(Counts& counts) : _counts(counts) { ++_counts.handedOut; }
    ~HandedOut() { --_counts.handedOut; }
    HandedOut(const HandedOut&) = delete;
    HandedOut& operator=(const HandedOut&) = delete;

private:
    Counts& _counts;
};

/// An identity's certificate, which knows whose it is.
class IdentityCertificate final : public VELCertificate {
public:
    IdentityCertificate(std::shared_ptr<const VELX509Certificate> certificate,
                        const VELSimulatedIdentity& identity, Counts& counts)
        : _certificate(std::move(certificate)), _identity(identity), _handedOut(counts) {}

    [[nodiscard]] const std::string& der() const override { return _certificate->der(); }
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override {
        return _certificate->commonNames();
    }
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override {
        return _certificate->normalizedSubject();
    }
    [[nodiscard]] std::optional<std::string> subjectSummary() const override {
        return _certificate->subjectSummary();
    }

    [[nodiscard]] const auto& certificate() const { return _certificate; }
    [[nodiscard]] const VELSimulatedIdentity& identity() const { return _identity; }

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
    const VELSimulatedIdentity& _identity;
    HandedOut _handedOut;
};

class Identity final : public VELIdentity {
public:
    Identity(std::shared_ptr<const VELX509Certificate> certificate,
             const VELSimulatedIdentity& identity, Counts& counts)
        : _certificate(std::move(certificate)), _identity(identity), _counts(counts),
          _handedOut(counts) {}

    [[nodiscard]] CertificateResult copyCertificate() const override {
        ++_counts.identityCertificates;
        if (_identity.certificateStatus != 0) {
            return {_identity.certificateStatus, nullptr};
        }
        return {0, std::make_shared<IdentityCertificate>(_certificate, _identity, _counts)};
    }

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
    const VELSimulatedIdentity& _identity;
    Counts& _counts;
    HandedOut _handedOut;
};

class Trust final : public VELTrust {
public:
    Trust(std::unique_ptr<VELTrust> trust, std::int32_t anchorsStatus, Counts& counts)
        : _trust(std::move(trust)), _anchorsStatus(anchorsStatus), _counts(counts),
          _handedOut(counts) {}

    std::int32_t setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override {
        ++_counts.anchors;
        if (const auto own = std::dynamic_pointer_cast<const IdentityCertificate>(anchor)) {
            anchor = own->certificate();
        }
        return _anchorsStatus != 0 ? _anchorsStatus : _trust->setOnlyAnchor(std::move(anchor));
    }

    bool evaluate(std::optional<VELError>* error) override {
        ++_counts.evaluations;
        return _trust->evaluate(error);
    }

private:
    std::unique_ptr<VELTrust> _trust;
    std::int32_t _anchorsStatus;
    Counts& _counts;
    HandedOut _handedOut;
};

} // namespace

VELSimulatedKeychain::VELSimulatedKeychain()
    : VELX509Keychain([this] {
          using namespace std::chrono;
          return date.value_or(time_point_cast<microseconds>(system_clock::now()));
      }) {}

VELKeychain::CertificatesResult VELSimulatedKeychain::certificates(std::size_t limit) const {
    ++counts.certificates;
    const std::int32_t status =
        certificatesStatus.value_or(certificateList.empty() ? vel::security::itemNotFound : 0);
    if (status != 0) {
        return {status, {}};
    }
    const auto count = static_cast<std::ptrdiff_t>(std::min(limit, certificateList.size()));
    return {0, {certificateList.begin(), certificateList.begin() + count}};
}

std::shared_ptr<const VELCertificatePool> VELSimulatedKeychain::pool() const {
    std::vector<std::string> all = certificateList;
    for (const VELSimulatedIdentity& identity : identityList) {
        all.push_back(identity.certificate);
    }
    return std::make_shared<const VELCertificatePool>(all);
}

VELKeychain::IdentitiesResult VELSimulatedKeychain::identities(const std::string& issuer) const {
    ++counts.identities;
    if (identitiesStatus != 0) {
        return {identitiesStatus, {}};
    }
    std::vector<std::string_view> candidates;
    for (const VELSimulatedIdentity& identity : identityList) {
        candidates.push_back(identity.certificate);
    }
    auto matching = matchingCertificates(candidates, issuer, pool());
    std::vector<std::unique_ptr<VELIdentity>> found;
    for (std::size_t index = 0; index < matching.size(); ++index) {
        if (matching[index] != nullptr) {
            found.push_back(std::make_unique<Identity>(std::move(matching[index]),
                                                       identityList[index], counts));
        }
    }
    const std::int32_t status = found.empty() ? vel::security::itemNotFound : 0;
    return {status, std::move(found)};
}

std::optional<std::vector<std::string>>
VELSimulatedKeychain::commonNames(std::string_view der) const {
    ++counts.commonNames;
    return VELX509Keychain::commonNames(der);
}

VELKeychain::TrustResult
VELSimulatedKeychain::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    ++counts.trusts;
    std::int32_t anchorsStatus = 0;
    if (const auto own = std::dynamic_pointer_cast<const IdentityCertificate>(certificate)) {
        if (own->identity().trustStatus != 0) {
            return {own->identity().trustStatus, nullptr};
        }
        anchorsStatus = own->identity().anchorsStatus;
        certificate = own->certificate();
    }
    TrustResult result = VELX509Keychain::createTrust(std::move(certificate));
    if (result.status == 0) {
        result.trust = std::make_unique<Trust>(std::move(result.trust), anchorsStatus, counts);
    }
    return result;
}
