// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Keychain.h"

#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "Platform/X509/VELX509Name.h"

#include <utility>

VELX509Keychain::VELX509Keychain(VELX509Trust::Clock clock) : _clock(std::move(clock)) {}

std::string VELX509Keychain::statusText(VELSecurityStatus status) const {
    return vel::security::textOfStatus(status);
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
