// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Recording/VELRecorder.h"

/// The keychain of another platform, recorded. Certificates are that platform's own objects, which
/// its trust recognises.
class VELRecordingKeychain final : public VELKeychain {
public:
    explicit VELRecordingKeychain(VELRecorder recorder) : _recorder(std::move(recorder)) {}

    [[nodiscard]] CertificatesResult certificates(std::size_t limit) const override;
    [[nodiscard]] IdentitiesResult identities(const std::string& issuer) const override;
    [[nodiscard]] AllIdentitiesResult allIdentities() const override;
    [[nodiscard]] std::string statusText(VELSecurityStatus status) const override;

private:
    VELRecorder _recorder;
};

/// What another platform can do with certificates; trust is recorded.
class VELRecordingCertificates final : public VELCertificates {
public:
    explicit VELRecordingCertificates(VELRecorder recorder) : _recorder(std::move(recorder)) {}

    [[nodiscard]] std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const override;
    [[nodiscard]] std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const override;
    [[nodiscard]] TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const override;
    [[nodiscard]] std::string sha1(std::string_view bytes) const override;

private:
    VELRecorder _recorder;
};
