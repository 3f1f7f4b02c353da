// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Certificate.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <cstdint>
#include <utility>

namespace {

using namespace vel::x509;

/// The first name of that form that has a text.
std::optional<std::string> firstAlternativeName(std::string_view names, std::uint8_t form) {
    vel::der::Reader reader(names);
    while (const auto name = reader.next()) {
        auto text =
            name->tag == form ? textOfValue(vel::der::ia5String, name->content) : std::nullopt;
        if (text) {
            return text;
        }
    }
    return std::nullopt;
}

} // namespace

std::shared_ptr<const VELX509Certificate>
VELX509Certificate::parse(std::string_view der, std::shared_ptr<const VELCertificatePool> pool) {
    const auto whole = vel::der::Reader(der).next(vel::der::sequence);
    if (!whole) {
        return nullptr;
    }
    std::shared_ptr<VELX509Certificate> certificate(new VELX509Certificate(whole->whole));
    const auto parts = certificateParts(certificate->_der);
    if (!parts) {
        return nullptr;
    }
    certificate->_parts = *parts;
    certificate->_subject = normalizedName(parts->subject);
    certificate->_issuer = normalizedName(parts->issuer);
    certificate->_pool = std::move(pool);
    return certificate;
}

X509* VELX509Certificate::x509() const {
    // Not by std::call_once: an exception cannot pass through it in a program that contains the C++
    // runtime.
    const std::scoped_lock lock(_mutex);
    if (!_x509) {
        _x509 = decodedCertificate(_der);
    }
    return _x509->get();
}

std::optional<std::vector<std::string>> VELX509Certificate::commonNames() const {
    return commonNamesOfName(_parts.subject);
}

std::optional<std::string> VELX509Certificate::subjectSummary() const {
    NameSummary summary = nameSummary(_parts.subject);
    if (summary.isCommonName) {
        return summary.text;
    }
    const std::string_view names = _parts.extensions.alternativeNames;
    if (auto address = firstAlternativeName(names, vel::der::contextPrimitive(1))) {
        return address;
    }
    if (summary.emailAddress) {
        return summary.emailAddress;
    }
    if (auto host = firstAlternativeName(names, vel::der::contextPrimitive(2))) {
        return host;
    }
    return summary.text;
}
