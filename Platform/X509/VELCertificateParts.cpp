// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateParts.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <set>

namespace vel::x509 {
namespace {

/// The optional parts behind the public key: two unique identifiers, then the extensions.
std::optional<std::string_view> readExtensions(der::Reader& reader) {
    static_cast<void>(reader.next(0x81));
    static_cast<void>(reader.next(0x82));
    const auto wrapper = reader.next(der::context(3));
    if (!reader.atEnd()) {
        return std::nullopt;
    }
    if (!wrapper) {
        return std::string_view();
    }
    der::Reader content(wrapper->content);
    const auto extensions = content.next(der::sequence);
    return extensions && content.atEnd() ? std::optional(extensions->content) : std::nullopt;
}

std::optional<std::string_view> typeOfExtension(std::string_view extension) {
    der::Reader reader(extension);
    const auto type = reader.next(der::objectIdentifier);
    static_cast<void>(reader.next(der::boolean));
    const auto value = reader.next(der::octetString);
    return type && value && reader.atEnd() ? std::optional(type->content) : std::nullopt;
}

} // namespace

std::optional<CertificateParts> certificateParts(std::string_view bytes) {
    const auto certificate = der::Reader(bytes).next(der::sequence);
    if (!certificate) {
        return std::nullopt;
    }
    der::Reader outer(certificate->content);
    const auto signedPart = outer.next(der::sequence);
    const bool isSigned = signedPart && outer.next(der::sequence) && outer.next(der::bitString);
    if (!isSigned || !outer.atEnd()) {
        return std::nullopt;
    }
    der::Reader reader(signedPart->content);
    static_cast<void>(reader.next(der::context(0)));
    if (!reader.next(der::integer) || !reader.next(der::sequence)) {
        return std::nullopt;
    }
    const auto issuer = reader.next(der::sequence);
    const bool hasValidity = reader.next(der::sequence).has_value();
    const auto subject = reader.next(der::sequence);
    const bool hasKey = reader.next(der::sequence).has_value();
    if (!issuer || !hasValidity || !subject || !hasKey) {
        return std::nullopt;
    }
    const auto extensions = readExtensions(reader);
    if (!extensions) {
        return std::nullopt;
    }
    return CertificateParts{certificate->whole, issuer->whole, subject->whole, *extensions};
}

std::optional<std::vector<std::string>> commonNamesOfCertificate(std::string_view bytes) {
    const auto parts = certificateParts(bytes);
    return parts ? commonNamesOfName(parts->subject) : std::nullopt;
}

ExtensionList extensionList(std::string_view extensions) {
    std::set<std::string_view> types;
    der::Reader reader(extensions);
    while (!reader.atEnd()) {
        const auto extension = reader.next(der::sequence);
        const auto type = extension ? typeOfExtension(extension->content) : std::nullopt;
        if (!type) {
            return ExtensionList::malformed;
        }
        if (!types.insert(*type).second) {
            return ExtensionList::duplicate;
        }
    }
    return ExtensionList::wellFormed;
}

} // namespace vel::x509
