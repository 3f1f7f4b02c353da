// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedKeychain.h"

#include <algorithm>
#include <utility>

namespace {

using enum VELSecurityStatus;
using Counts = VELSimulatedKeychain::Counts;

class Identity final : public VELIdentity {
public:
    Identity(std::shared_ptr<const VELX509Certificate> certificate,
             const VELSimulatedIdentity& identity, Counts& counts)
        : _certificate(std::move(certificate)), _identity(identity), _counts(counts),
          _handle(counts.handedOut) {}

    [[nodiscard]] CertificateResult copyCertificate() const override {
        ++_counts.identityCertificates;
        if (_identity.certificateStatus != success) {
            return {_identity.certificateStatus, nullptr};
        }
        if (_certificate == nullptr) {
            return {parameter, nullptr};
        }
        return {success, std::make_shared<VELSimulatedIdentityCertificate>(_certificate, _identity,
                                                                           _counts.handedOut)};
    }

private:
    std::shared_ptr<const VELX509Certificate> _certificate;
    const VELSimulatedIdentity& _identity;
    Counts& _counts;
    VELSimulatedHandle _handle;
};

} // namespace

VELSimulatedIdentityCertificate::VELSimulatedIdentityCertificate(
    std::shared_ptr<const VELX509Certificate> certificate, const VELSimulatedIdentity& identity,
    std::atomic<int>& handedOut)
    : _certificate(std::move(certificate)), _identity(identity), _handle(handedOut) {}

const std::string& VELSimulatedIdentityCertificate::der() const {
    return _certificate->der();
}

std::optional<std::vector<std::string>> VELSimulatedIdentityCertificate::commonNames() const {
    return _certificate->commonNames();
}

std::optional<std::string> VELSimulatedIdentityCertificate::normalizedSubject() const {
    return _certificate->normalizedSubject();
}

std::optional<std::string> VELSimulatedIdentityCertificate::subjectSummary() const {
    return _certificate->subjectSummary();
}

VELSimulatedKeychain::VELSimulatedKeychain() : VELX509Keychain([this] { return moment(); }) {}

VELKeychain::CertificatesResult VELSimulatedKeychain::certificates(std::size_t limit) const {
    ++counts.certificates;
    const VELSecurityStatus status =
        certificatesStatus.value_or(certificateList.empty() ? itemNotFound : success);
    if (status != success) {
        return {status, {}};
    }
    const auto count = static_cast<std::ptrdiff_t>(std::min(limit, certificateList.size()));
    return {success, {certificateList.begin(), certificateList.begin() + count}};
}

std::shared_ptr<const VELCertificatePool> VELSimulatedKeychain::pool() const {
    std::vector<std::string> all = certificateList;
    for (const VELSimulatedIdentity& identity : identityList) {
        all.push_back(identity.certificate);
    }
    return std::make_shared<const VELCertificatePool>(all);
}

VELKeychain::IdentitiesResult
VELSimulatedKeychain::answer(const VELSimulatedIdentityQuery& query) const {
    std::vector<std::unique_ptr<VELIdentity>> found;
    const auto issuers = pool();
    for (const VELSimulatedIdentity& identity : query.identities) {
        found.push_back(std::make_unique<Identity>(
            VELX509Certificate::parse(identity.certificate, issuers), identity, counts));
    }
    const VELSecurityStatus status = query.status.value_or(found.empty() ? itemNotFound : success);
    return {status, std::move(found)};
}

VELKeychain::IdentitiesResult VELSimulatedKeychain::identities(const std::string& issuer) const {
    ++counts.identities;
    const auto query =
        std::ranges::find(identityQueries, issuer, &VELSimulatedIdentityQuery::issuer);
    if (query != identityQueries.end()) {
        return answer(*query);
    }
    if (identitiesStatus.value_or(success) != success) {
        return {*identitiesStatus, {}};
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
    const VELSecurityStatus status =
        identitiesStatus.value_or(found.empty() ? itemNotFound : success);
    return {status, std::move(found)};
}

VELKeychain::AllIdentitiesResult VELSimulatedKeychain::allIdentities() const {
    ++counts.allIdentities;
    AllIdentitiesResult result = {identitiesStatus.value_or(success), {}, moment()};
    if (result.status != success) {
        return result;
    }
    for (const VELSimulatedIdentity& identity : identityList) {
        if (identity.certificateStatus != success) {
            return {identity.certificateStatus, {}, result.moment};
        }
        result.certificates.push_back(identity.certificate);
    }
    result.status = identitiesStatus.value_or(identityList.empty() ? itemNotFound : success);
    return result;
}
