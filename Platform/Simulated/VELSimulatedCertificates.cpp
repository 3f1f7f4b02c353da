// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedCertificates.h"

#include "Platform/Simulated/VELSimulatedHandle.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace {

using enum VELSecurityStatus;
using Counts = VELSimulatedCertificates::Counts;

class Trust final : public VELTrust {
public:
    /// `answers` are those for this certificate, whose anchors differ.
    Trust(std::unique_ptr<VELTrust> trust, VELSecurityStatus anchorsStatus,
          std::vector<const VELSimulatedTrust*> answers, Counts& counts)
        : _trust(std::move(trust)), _anchorsStatus(anchorsStatus), _answers(std::move(answers)),
          _counts(counts), _handle(counts.handedOut) {}

    VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override {
        ++_counts.anchors;
        if (const auto own =
                std::dynamic_pointer_cast<const VELSimulatedIdentityCertificate>(anchor)) {
            anchor = own->certificate();
        }
        const auto answer = std::ranges::find_if(_answers, [&](const auto* known) {
            return anchor != nullptr && known->anchor == anchor->der();
        });
        _answer = answer != _answers.end() ? *answer : nullptr;
        if (_answer != nullptr) {
            return _answer->anchorsStatus;
        }
        return _anchorsStatus != success ? _anchorsStatus
                                         : _trust->setOnlyAnchor(std::move(anchor));
    }

    bool evaluate(std::optional<VELError>* error) override {
        ++_counts.evaluations;
        if (_answer != nullptr) {
            *error = _answer->error;
            return _answer->isTrusted;
        }
        return _trust->evaluate(error);
    }

private:
    std::unique_ptr<VELTrust> _trust;
    VELSecurityStatus _anchorsStatus;
    std::vector<const VELSimulatedTrust*> _answers;
    const VELSimulatedTrust* _answer = nullptr; // for the anchor that was set
    Counts& _counts;
    VELSimulatedHandle _handle;
};

} // namespace

std::shared_ptr<const VELCertificate> VELParsedCertificates::certificateOf(std::string_view der) {
    const std::lock_guard lock(_mutex);
    auto found = _certificates.find(der);
    if (found == _certificates.end()) {
        found = _certificates.emplace(der, VELX509Certificate::parse(der)).first;
    }
    return found->second;
}

VELSimulatedCertificates::VELSimulatedCertificates(const VELSimulatedKeychain& keychain)
    : VELX509Certificates([&keychain] { return keychain.moment(); }), _keychain(keychain) {}

std::shared_ptr<const VELCertificate>
VELSimulatedCertificates::parseCertificate(std::string_view der) const {
    return parsed != nullptr ? parsed->certificateOf(der)
                             : VELX509Certificates::parseCertificate(der);
}

std::optional<std::vector<std::string>>
VELSimulatedCertificates::commonNames(std::string_view der) const {
    ++counts.commonNames;
    return VELX509Certificates::commonNames(der);
}

VELCertificates::TrustResult
VELSimulatedCertificates::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    ++counts.trusts;
    std::vector<const VELSimulatedTrust*> answers;
    for (const VELSimulatedTrust& known : _keychain.trustAnswers) {
        if (certificate != nullptr && known.certificate == certificate->der()) {
            if (known.trustStatus != success) {
                return {known.trustStatus, nullptr};
            }
            answers.push_back(&known);
        }
    }
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
        result.trust = std::make_unique<Trust>(std::move(result.trust), anchorsStatus,
                                               std::move(answers), counts);
    }
    return result;
}
