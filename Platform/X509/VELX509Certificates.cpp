// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Certificates.h"

#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELSHA1.h"

#include <utility>

VELX509Certificates::VELX509Certificates(VELX509Trust::Clock clock) : _clock(std::move(clock)) {}

std::shared_ptr<const VELCertificate>
VELX509Certificates::parseCertificate(std::string_view der) const {
    return VELX509Certificate::parse(der);
}

std::optional<std::vector<std::string>>
VELX509Certificates::commonNames(std::string_view der) const {
    return vel::x509::commonNamesOfCertificate(der);
}

VELCertificates::TrustResult
VELX509Certificates::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    auto own = std::dynamic_pointer_cast<const VELX509Certificate>(std::move(certificate));
    if (own == nullptr) {
        return {VELSecurityStatus::parameter, nullptr};
    }
    return {VELSecurityStatus::success, std::make_unique<VELX509Trust>(std::move(own), _clock)};
}

std::string VELX509Certificates::sha1(std::string_view bytes) const {
    return vel::x509::sha1(bytes);
}
