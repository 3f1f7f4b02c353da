// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Platform/Simulated/VELSimulatedCertificates.h"
#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <nlohmann/json.hpp>
#include <openssl/err.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Cuts the input into elements, so that one input holds several certificates.
std::vector<std::string> certificatesOf(std::string_view bytes) {
    std::vector<std::string> certificates;
    vel::der::Reader reader(bytes);
    while (const auto element = reader.next()) {
        certificates.emplace_back(element->whole);
    }
    return certificates;
}

void checkNames(std::string_view bytes) {
    static_cast<void>(vel::x509::nameSummary(bytes));
    static_cast<void>(vel::x509::commonNamesOfName(bytes));
    if (const auto normalized = vel::x509::normalizedName(bytes)) {
        require(vel::x509::normalizedName(*normalized) == normalized);
    }
}

void checkCertificate(const VELCertificates& certificates, std::string_view bytes) {
    const auto certificate = certificates.parseCertificate(bytes);
    if (certificate == nullptr) {
        return;
    }
    require(bytes.starts_with(certificate->der()));
    require(certificate->commonNames() == certificates.commonNames(bytes));
    static_cast<void>(certificate->subjectSummary());
    const auto again = certificates.parseCertificate(certificate->der());
    require(again != nullptr && again->normalizedSubject() == certificate->normalizedSubject());
}

void checkTrust(const std::vector<std::string>& bytes) {
    VELSimulatedKeychain keychain;
    const VELSimulatedCertificates certificates(keychain);
    keychain.date = VELMoment(std::chrono::days(20'000));
    keychain.certificateList = bytes;
    const auto anchor = certificates.parseCertificate(bytes.back());
    const auto subject = anchor != nullptr ? anchor->normalizedSubject() : std::nullopt;
    if (!subject) {
        return;
    }
    for (const std::string& certificate : bytes) {
        keychain.identityList.push_back({.certificate = certificate});
    }
    for (const auto& identity : keychain.identities(*subject).identities) {
        const auto created = certificates.createTrust(identity->copyCertificate().certificate);
        require(created.status == VELSecurityStatus::success &&
                created.trust->setOnlyAnchor(anchor) == VELSecurityStatus::success);
        std::optional<VELError> error;
        require(created.trust->evaluate(&error) != error.has_value());
        require(!error || !error->message().empty());
    }
}

} // namespace

/// Whatever the bytes hold, each reader answers within bounds, and OpenSSL's errors are cleared.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes = fuzzText(data, size);
    checkNames(bytes);
    checkCertificate(VELX509Certificates(), bytes);
    const auto certificates = certificatesOf(bytes);
    if (!certificates.empty() && certificates.size() <= 8) {
        checkTrust(certificates);
    }
    require(ERR_peek_error() == 0);
    return 0;
}
