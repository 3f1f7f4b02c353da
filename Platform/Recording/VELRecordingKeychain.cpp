// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingKeychain.h"

using namespace vel::recorded;

namespace {

/// Empty for no certificate, which the platform refuses.
std::string derOf(const std::shared_ptr<const VELCertificate>& certificate) {
    return certificate != nullptr ? certificate->der() : std::string();
}

class Identity final : public VELIdentity {
public:
    Identity(VELRecorder recorder, std::string issuer, std::size_t index,
             std::unique_ptr<VELIdentity> identity)
        : _recorder(std::move(recorder)), _issuer(std::move(issuer)), _index(index),
          _identity(std::move(identity)) {}

    [[nodiscard]] CertificateResult copyCertificate() const override {
        return _recorder.ask([&] { return _identity->copyCertificate(); },
                             [&](const CertificateResult& result) {
                                 return IdentityCertificate{
                                     _issuer, _index, result.status,
                                     result.certificate != nullptr
                                         ? std::optional(result.certificate->der())
                                         : std::nullopt};
                             });
    }

private:
    VELRecorder _recorder;
    std::string _issuer;
    std::size_t _index;
    std::unique_ptr<VELIdentity> _identity;
};

class RecordingTrust final : public VELTrust {
public:
    RecordingTrust(VELRecorder recorder, std::string leaf, std::unique_ptr<VELTrust> trust)
        : _recorder(std::move(recorder)), _kept{std::move(leaf)}, _trust(std::move(trust)) {}

    VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override {
        _kept.anchor = derOf(anchor);
        const VELTimePoint start = _recorder.platform().ticks();
        _kept.anchored = _trust->setOnlyAnchor(std::move(anchor));
        if (_kept.anchored != VELSecurityStatus::success) {
            _recorder.recording().add(_recorder.platform().ticks() - start, [&] { return _kept; });
        }
        return _kept.anchored;
    }

    bool evaluate(std::optional<VELError>* error) override {
        return _recorder.ask([&] { return _trust->evaluate(error); },
                             [&](bool isTrusted) {
                                 Trust answer = _kept;
                                 answer.isTrusted = isTrusted;
                                 answer.error = isTrusted ? std::nullopt : *error;
                                 return answer;
                             });
    }

private:
    VELRecorder _recorder;
    Trust _kept;
    std::unique_ptr<VELTrust> _trust;
};

} // namespace

VELKeychain::CertificatesResult VELRecordingKeychain::certificates(std::size_t limit) const {
    return _recorder.ask([&] { return _recorder.platform().keychain().certificates(limit); },
                         [](const CertificatesResult& result) {
                             return Certificates{result.status, result.certificates};
                         });
}

VELKeychain::IdentitiesResult VELRecordingKeychain::identities(const std::string& issuer) const {
    IdentitiesResult result =
        _recorder.ask([&] { return _recorder.platform().keychain().identities(issuer); },
                      [&](const IdentitiesResult& found) {
                          return Identities{issuer, found.status, found.identities.size()};
                      });
    std::size_t index = 0;
    for (std::unique_ptr<VELIdentity>& identity : result.identities) {
        identity = std::make_unique<Identity>(_recorder, issuer, index++, std::move(identity));
    }
    return result;
}

VELKeychain::AllIdentitiesResult VELRecordingKeychain::allIdentities() const {
    return _recorder.ask(
        [&] { return _recorder.platform().keychain().allIdentities(); },
        [](const AllIdentitiesResult& result) {
            return AllIdentities{result.status, result.certificates, result.moment};
        });
}

std::string VELRecordingKeychain::statusText(VELSecurityStatus status) const {
    return _recorder.platform().keychain().statusText(status);
}

std::shared_ptr<const VELCertificate>
VELRecordingCertificates::parseCertificate(std::string_view der) const {
    return _recorder.platform().certificates().parseCertificate(der);
}

std::optional<std::vector<std::string>>
VELRecordingCertificates::commonNames(std::string_view der) const {
    return _recorder.platform().certificates().commonNames(der);
}

VELCertificates::TrustResult
VELRecordingCertificates::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    const std::string leaf = derOf(certificate);
    const VELTimePoint start = _recorder.platform().ticks();
    TrustResult result = _recorder.platform().certificates().createTrust(std::move(certificate));
    if (result.status != VELSecurityStatus::success) {
        _recorder.recording().add(_recorder.platform().ticks() - start,
                                  [&] { return Trust{.leaf = leaf, .created = result.status}; });
    } else {
        result.trust = std::make_unique<RecordingTrust>(_recorder, leaf, std::move(result.trust));
    }
    return result;
}

std::string VELRecordingCertificates::sha1(std::string_view bytes) const {
    return _recorder.platform().certificates().sha1(bytes);
}
