// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// "certificatePresent": passes when the keychains hold a certificate with the SHA-1 fingerprint
/// "sha1": hexadecimal text in either letter case, spaces between the bytes or not. Nothing else is
/// tolerated: a fingerprint with colons never matches.
class VELCertificateCheck final : public VELPostureCheckItem {
public:
    /// How many certificates of the keychains are compared.
    static constexpr std::size_t maximumCertificates = 1000;

    explicit VELCertificateCheck(std::shared_ptr<const VELPlatform> platform);

    /// Throws `std::invalid_argument` when "sha1" is not a string.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;
    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override;

    /// Whether one of the first `maximumCertificates` certificates of the keychains has the
    /// fingerprint. Keychains without any certificate are error code 5.
    [[nodiscard]] bool certificateInstalledWithSHA1(const VELValue& sha1,
                                                    std::optional<VELError>* error) const;

    /// `sha1` without spaces (U+0020), in lower case.
    [[nodiscard]] static std::string normalizeSHA1(std::string_view sha1);

    /// The bytes of the first `maximumCertificates` certificates; nullopt, with error code 5, if
    /// the keychain returns an error status.
    [[nodiscard]] std::optional<std::vector<std::string>>
    allCertificateData(std::optional<VELError>* error) const;

    /// The fingerprint of `bytes`: 59 characters, lower-case bytes separated by spaces.
    [[nodiscard]] std::string sha1(std::string_view bytes) const;

private:
    void logMismatch(std::string_view certificate) const;

    std::shared_ptr<const VELPlatform> _platform;
};
