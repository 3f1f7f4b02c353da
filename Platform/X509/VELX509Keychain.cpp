// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Keychain.h"

#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELSHA1.h"
#include "Platform/X509/VELSecurityStatus.h"
#include "Platform/X509/VELX509Name.h"

#include <utility>

VELX509Keychain::VELX509Keychain(VELX509Trust::Clock clock) : _clock(std::move(clock)) {}

std::string VELX509Keychain::statusText(std::int32_t status) const {
    return vel::security::textOfStatus(status);
}

std::shared_ptr<const VELCertificate>
VELX509Keychain::parseCertificate(std::string_view der) const {
    return VELX509Certificate::parse(der);
}

std::optional<std::vector<std::string>> VELX509Keychain::commonNames(std::string_view der) const {
    return vel::x509::commonNamesOfCertificate(der);
}

VELKeychain::TrustResult
VELX509Keychain::createTrust(std::shared_ptr<const VELCertificate> certificate) const {
    auto own = std::dynamic_pointer_cast<const VELX509Certificate>(std::move(certificate));
    if (own == nullptr) {
        return {vel::security::parameter, nullptr};
    }
    return {vel::security::success, std::make_unique<VELX509Trust>(std::move(own), _clock)};
}

std::string VELX509Keychain::sha1(std::string_view bytes) const {
    return vel::x509::sha1(bytes);
}

std::vector<std::shared_ptr<const VELX509Certificate>>
VELX509Keychain::matchingCertificates(const std::vector<std::string_view>& candidates,
                                      const std::string& issuer,
                                      const std::shared_ptr<const VELCertificatePool>& pool) const {
    std::vector<std::shared_ptr<const VELX509Certificate>> matching(candidates.size());
    const auto wanted = vel::x509::normalizedName(issuer);
    if (!wanted) {
        return matching;
    }
    const auto issuers = vel::x509::issuersLeadingTo(*wanted, pool.get());
    const VELMoment now = _clock();
    for (std::size_t index = 0; index < candidates.size(); ++index) {
        // Names cost less than decoding a key.
        const auto parts = vel::x509::certificateParts(candidates[index]);
        const auto own = parts ? vel::x509::normalizedName(parts->issuer) : std::nullopt;
        if (!own || !issuers.contains(*own)) {
            continue;
        }
        auto certificate = VELX509Certificate::parse(candidates[index], pool);
        if (certificate != nullptr && certificate->isValidAt(now)) {
            matching[index] = std::move(certificate);
        }
    }
    return matching;
}
