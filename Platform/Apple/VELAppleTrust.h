// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Apple/VELCFReference.h"
#include "Platform/VELTrust.h"

#include <Security/Security.h>

/// A trust object of the system. It belongs to the thread that made it. What the user or the
/// system distrusts is not trusted here either.
class VELAppleTrust final : public VELTrust {
public:
    explicit VELAppleTrust(VELCFReference<SecTrustRef> trust);

    VELSecurityStatus setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) override;

    /// The error's text is in the language of the host.
    bool evaluate(std::optional<VELError>* error) override;

private:
    VELCFReference<SecTrustRef> _trust;
};
