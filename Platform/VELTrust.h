// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificate.h"
#include "Platform/VELSecurityStatus.h"
#include "vel_device_trust/VELError.h"

#include <memory>
#include <optional>

/// The evaluation of one certificate's chain under the basic X.509 policy.
class VELTrust {
public:
    virtual ~VELTrust() = default;

    /// Makes `anchor` the only certificate that a chain may end at; the system's own anchors do not
    /// count any more. Returns `success`, or why it failed.
    virtual VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) = 0;

    /// Whether a chain from the certificate to the anchor is valid now. Intermediates may come from
    /// the keychain; nothing is fetched. If not, `error` (never null) says why, in the domain
    /// "NSOSStatusErrorDomain".
    virtual bool evaluate(std::optional<VELError>* error) = 0;
};
