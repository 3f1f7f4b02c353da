// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>
#include <string>
#include <vector>

/// "perDeviceCertificatePresent": passes when the keychains hold an identity that is valid now, was
/// issued under the administrator's root certificate "cert" (base64 of its DER), and is trusted
/// with that root as the only anchor. The root itself is passed over.
class VELPerDeviceCertificatePresentCheck final : public VELPostureCheckItem {
public:
    explicit VELPerDeviceCertificatePresentCheck(std::shared_ptr<const VELPlatform> platform);

    /// Throws `std::invalid_argument` when "cert" is not a string.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;
    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override;

    /// The first identity that passes decides. Without one, `error` holds the last failed trust
    /// evaluation's error, or none if there was no evaluation.
    [[nodiscard]] bool perDeviceCertificateCheck(const VELValue& adminCertificate,
                                                 std::optional<VELError>* error) const;

    [[nodiscard]] static bool evaluateTrust(VELTrust& trust, std::optional<VELError>* error);

    /// The certificate's normalised subject (DER), or nullopt.
    [[nodiscard]] static std::optional<std::string>
    extractSubjectFromCertificate(const VELCertificate& certificate,
                                  std::optional<VELError>* error);

private:
    [[nodiscard]] bool isTrustedIdentity(const VELIdentity& identity,
                                         const std::shared_ptr<const VELCertificate>& adminRoot,
                                         const std::string& adminText,
                                         std::optional<VELError>* error) const;

    std::shared_ptr<const VELPlatform> _platform;
};
