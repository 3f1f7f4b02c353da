// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedCertificates.h"

#include "Platform/Simulated/VELSimulatedHandle.h"

#include <utility>

namespace {

using enum VELSecurityStatus;
using Counts = VELSimulatedCertificates::Counts;

class Trust final : public VELTrust {
public:
    Trust(std::unique_ptr<VELTrust> trust, VELSecurityStatus anchorsStatus, Counts& counts)
        : _trust(std::move(trust)), _anchorsStatus(anchorsStatus), _counts(counts),
          _handle(counts.handedOut) {}

    VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override {
        ++_counts.anchors;
        if (const auto own =
                std::dynamic_pointer_cast<const VELSimulatedIdentityCertificate>(anchor)) {
            anchor = own->certificate();
        }
        return _anchorsStatus != success ? _anchorsStatus
                                         : _trust->setOnlyAnchor(std::move(anchor));
    }

    bool evaluate(std::optional<VELError>* error) override {
        ++_counts.evaluations;
        return _trust->evaluate(error);
    }

private:
    std::unique_ptr<VELTrust> _trust;
    VELSecurityStatus _anchorsStatus;
    Counts& _counts;
    VELSimulatedHandle _handle;
};

} // namespace

VELSimulatedCertificates::VELSimulatedCertificates(const VELSimulatedKeychain& keychain)
    : VELX509Certificates([&keychain] { return keychain.moment(); }) {}

std::optional<std::vector<std::string>>
VELSimulatedCertificates::commonNames(std::string_view der) const {
    ++counts.commonNames;
    return VELX509Certificates::commonNames(der);
}

VELCertificates::TrustResult
VELSimulatedCertificates::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    ++counts.trusts;
    VELSecurityStatus anchorsStatus = success;
    if (const auto own =
            std::dynamic_pointer_cast<const VELSimulatedIdentityCertificate>(certificate)) {
        if (own->identity().trustStatus != success) {
            return {own->identity().trustStatus, nullptr};
        }
        anchorsStatus = own->identity().anchorsStatus;
        certificate = own->certificate();
    }
    TrustResult result = VELX509Certificates::createTrust(std::move(certificate));
    if (result.status == success) {
        result.trust = std::make_unique<Trust>(std::move(result.trust), anchorsStatus, counts);
    }
    return result;
}
