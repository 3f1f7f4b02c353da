// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificate.h"
#include "Platform/VELSecurityStatus.h"
#include "Platform/VELTrust.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the platform can do with certificates, wherever they come from: parsing, trust, digests.
/// What an operation hands out is released when it leaves scope.
class VELCertificates {
public:
    virtual ~VELCertificates() = default;

    /// The certificate at the start of `der`. Null: the bytes are not a certificate.
    [[nodiscard]] virtual std::shared_ptr<const VELCertificate>
    parseCertificate(std::string_view der) const = 0;

    /// The common names of the certificate at the start of `der`, as
    /// `VELCertificate::commonNames` returns them, read without parsing more than that needs.
    /// Absent also when the bytes are not a certificate.
    [[nodiscard]] virtual std::optional<std::vector<std::string>>
    commonNames(std::string_view der) const = 0;

    /// A trust object, or why there is none.
    struct TrustResult {
        /// `success`, or why it cannot be made.
        VELSecurityStatus status;
        /// Set when the status is `success`.
        std::unique_ptr<VELTrust> trust;
    };
    /// A trust object for `certificate` alone, under the basic X.509 policy.
    [[nodiscard]] virtual TrustResult
    createTrust(std::shared_ptr<const VELCertificate> certificate) const = 0;

    /// The SHA-1 digest of `bytes`: 20 bytes.
    [[nodiscard]] virtual std::string sha1(std::string_view bytes) const = 0;
};
