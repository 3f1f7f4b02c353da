// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleTrust.h"

#include "Platform/Apple/VELAppleCertificate.h"
#include "Platform/Apple/VELCFValue.h"

#include <utility>

VELAppleTrust::VELAppleTrust(VELCFReference<SecTrustRef> trust) : _trust(std::move(trust)) {}

VELSecurityStatus VELAppleTrust::setOnlyAnchor(std::shared_ptr<const VELCertificate> anchor) {
    const auto* certificate = dynamic_cast<const VELAppleCertificate*>(anchor.get());
    if (certificate == nullptr) {
        return VELSecurityStatus::parameter;
    }
    const auto anchors = vel::arrayOfOne(certificate->object());
    if (!anchors) {
        return VELSecurityStatus::allocate;
    }
    // Setting anchors switches the system's own off. SecTrustSetAnchorCertificatesOnly would only
    // be needed to switch them on again.
    return VELSecurityStatus{::SecTrustSetAnchorCertificates(_trust.get(), anchors.get())};
}

bool VELAppleTrust::evaluate(std::optional<VELError>* error) {
    VELCFReference<CFErrorRef> failure;
    if (::SecTrustEvaluateWithError(_trust.get(), failure.out())) {
        return true;
    }
    *error = vel::errorOfObject(failure.get());
    return false;
}
