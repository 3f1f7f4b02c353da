// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateExtensions.h"

#include "Platform/X509/VELDERReader.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

namespace vel::x509 {
namespace {

using namespace std::string_view_literals;

/// The platform's limits: one more makes an extension unreadable.
constexpr std::size_t maximumExtensions = 9'999;
constexpr std::size_t maximumElements = 1'023;
constexpr std::size_t maximumPurposes = 8'191;
constexpr std::size_t maximumStatementTypes = 9;

struct Extension {
    std::string_view type; ///< content of its object identifier
    bool isCritical;
    std::string_view value;
};

/// The content of the element at the start of `bytes`, which must have `tag`. What follows it does
/// not count.
std::optional<std::string_view> contentOf(std::string_view bytes, std::uint8_t tag) {
    const auto element = der::Reader(bytes).next(tag);
    return element ? std::optional(element->content) : std::nullopt;
}

/// Whether `content` holds elements of `tag` alone, one to `limit`, and `isSound` accepts the
/// content of each.
template <typename Test>
bool isListOf(std::uint8_t tag, std::string_view content, std::size_t limit, Test isSound) {
    std::size_t count = 0;
    der::Reader reader(content);
    while (!reader.atEnd()) {
        const auto element = reader.next(tag);
        if (!element || ++count > limit || !isSound(element->content)) {
            return false;
        }
    }
    return count > 0;
}

/// The same of the sequence at the start of an extension's value.
template <typename Test>
bool isSequenceOf(std::uint8_t tag, std::string_view value, std::size_t limit, Test isSound) {
    const auto content = contentOf(value, der::sequence);
    return content && isListOf(tag, *content, limit, isSound);
}

bool isAnything(std::string_view) {
    return true;
}

bool isGeneralName(const der::Element& name) {
    switch (name.tag) {
    case der::context(0): // another name
    case der::contextPrimitive(1):
    case der::contextPrimitive(2):
    case der::context(3): // X.400 address
    case der::context(4): // directory name
    case der::context(5): // EDI party name
    case der::contextPrimitive(6):
    case der::contextPrimitive(7):
    case der::contextPrimitive(8):
        return true;
    case der::context(6): // authorities have written addresses so
        return contentOf(name.content, der::ia5String).has_value();
    default:
        return false;
    }
}

bool areGeneralNames(std::string_view content) {
    der::Reader reader(content);
    while (!reader.atEnd()) {
        const auto name = reader.next();
        if (!name || !isGeneralName(*name)) {
            return false;
        }
    }
    return true;
}

bool isAbsentOrUnsigned(const std::optional<der::Element>& number) {
    return !number || number->content.empty() || der::unsignedValue(number->content);
}

bool readNothing(const Extension&, CertificateExtensions&) {
    return true;
}

bool readSubjectKeyIdentifier(const Extension& extension, CertificateExtensions& found) {
    const auto identifier = contentOf(extension.value, der::octetString);
    found.subjectKeyIdentifier = identifier.value_or(""sv);
    return identifier.has_value();
}

bool readAuthorityKeyIdentifier(const Extension& extension, CertificateExtensions& found) {
    const auto content = contentOf(extension.value, der::sequence);
    if (!content) {
        return false;
    }
    der::Reader reader(*content);
    const auto identifier = reader.next(der::contextPrimitive(0));
    const auto issuer = reader.next(der::context(1));
    const auto number = reader.next(der::contextPrimitive(2));
    const bool hasIssuer = issuer && !issuer->content.empty();
    const bool hasNumber = number && !number->content.empty();
    if (!reader.atEnd() || hasIssuer != hasNumber) {
        return false;
    }
    found.authorityKeyIdentifier = identifier ? identifier->content : ""sv;
    return true;
}

bool readKeyUsage(const Extension& extension, CertificateExtensions& found) {
    der::Reader reader(extension.value);
    const auto usage = reader.next(der::bitString);
    if (!usage || !reader.atEnd() || usage->content.size() < 2 || usage->content.size() > 3) {
        return false;
    }
    const auto byteAt = [&](std::size_t index) {
        return static_cast<unsigned char>(usage->content[index]);
    };
    const unsigned unused = byteAt(0);
    if (unused >= 8) {
        return false;
    }
    const std::size_t count = 8 * (usage->content.size() - 1) - unused;
    std::uint16_t bits = 0;
    for (std::size_t index = 0; index < count; ++index) {
        const unsigned bit = byteAt(1 + index / 8) >> (7 - index % 8) & 1U;
        bits = static_cast<std::uint16_t>(bits | bit << index);
    }
    found.keyUsage = bits;
    return true;
}

bool readAlternativeNames(const Extension& extension, CertificateExtensions& found) {
    const auto names = contentOf(extension.value, der::sequence);
    if (!names || names->empty() || !areGeneralNames(*names)) {
        return false;
    }
    found.alternativeNames = *names;
    found.hasCriticalAlternativeNames = extension.isCritical;
    return true;
}

bool readBasicConstraints(const Extension& extension, CertificateExtensions& found) {
    const auto content = contentOf(extension.value, der::sequence);
    if (!content) {
        return false;
    }
    der::Reader reader(*content);
    const auto authority = reader.next(der::boolean);
    const auto isAuthority = authority ? der::booleanValue(authority->content) : false;
    const auto length = reader.next(der::integer);
    const auto pathLength = length ? der::unsignedValue(length->content) : std::nullopt;
    if (!reader.atEnd() || !isAuthority || (length && !pathLength)) {
        return false;
    }
    found.basicConstraints = BasicConstraints{*isAuthority, pathLength};
    return true;
}

/// A general name alone: a minimum other than 0, or a maximum, has no meaning that is known.
bool isSubtree(std::string_view content) {
    der::Reader reader(content);
    const auto name = reader.next();
    const auto minimum = reader.next(der::contextPrimitive(0));
    return name && reader.atEnd() &&
           (!minimum || minimum->content.empty() || der::unsignedValue(minimum->content) == 0U);
}

bool areSubtrees(std::string_view content) {
    return content.empty() || isListOf(der::sequence, content, content.size(), isSubtree);
}

bool readNameConstraints(const Extension& extension, CertificateExtensions& found) {
    const auto content = contentOf(extension.value, der::sequence);
    if (!content) {
        return false;
    }
    der::Reader reader(*content);
    const auto permitted = reader.next(der::context(0));
    const auto excluded = reader.next(der::context(1));
    const NameSubtrees subtrees{permitted ? permitted->content : ""sv,
                                excluded ? excluded->content : ""sv, extension.isCritical};
    if (!reader.atEnd() || !areSubtrees(subtrees.permitted) || !areSubtrees(subtrees.excluded)) {
        return false;
    }
    found.nameSubtrees = subtrees;
    return true;
}

/// The full name, as general names, or a name relative to the issuer.
bool isDistributionPointName(std::string_view content) {
    const auto name = der::Reader(content).next();
    return name && (name->tag == der::context(1) ||
                    (name->tag == der::context(0) && areGeneralNames(name->content)));
}

bool isDistributionPoint(std::string_view content) {
    der::Reader reader(content);
    const auto name = reader.next(der::context(0));
    static_cast<void>(reader.next(der::contextPrimitive(1))); // reasons
    const auto issuer = reader.next(der::context(2));
    return reader.atEnd() && (name || issuer) &&
           (!name || isDistributionPointName(name->content)) &&
           (!issuer || areGeneralNames(issuer->content));
}

bool readDistributionPoints(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::sequence, extension.value, maximumElements, isDistributionPoint);
}

bool isPolicy(std::string_view content) {
    der::Reader reader(content);
    const bool hasType = reader.next(der::objectIdentifier).has_value();
    static_cast<void>(reader.next(der::sequence)); // qualifiers
    return hasType && reader.atEnd();
}

bool readPolicies(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::sequence, extension.value, maximumElements, isPolicy);
}

bool isPolicyMapping(std::string_view content) {
    der::Reader reader(content);
    return reader.next(der::objectIdentifier) && reader.next(der::objectIdentifier) &&
           reader.atEnd();
}

bool readPolicyMappings(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::sequence, extension.value, maximumElements, isPolicyMapping);
}

bool readPolicyConstraints(const Extension& extension, CertificateExtensions&) {
    const auto content = contentOf(extension.value, der::sequence);
    if (!content) {
        return false;
    }
    der::Reader reader(*content);
    return isAbsentOrUnsigned(reader.next(der::contextPrimitive(0))) &&
           isAbsentOrUnsigned(reader.next(der::contextPrimitive(1))) && reader.atEnd();
}

bool readInhibitAnyPolicy(const Extension& extension, CertificateExtensions&) {
    const auto skipped = contentOf(extension.value, der::integer);
    return skipped && der::unsignedValue(*skipped);
}

bool readExtendedKeyUsage(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::objectIdentifier, extension.value, maximumPurposes, isAnything);
}

/// Of a responder and of an issuer's certificate, the location must be an address.
bool isAccessDescription(std::string_view content) {
    constexpr auto responder = "\x2B\x06\x01\x05\x05\x07\x30\x01"sv;
    constexpr auto issuer = "\x2B\x06\x01\x05\x05\x07\x30\x02"sv;
    der::Reader reader(content);
    const auto method = reader.next(der::objectIdentifier);
    const auto location = reader.next();
    if (!method || !location || !reader.atEnd()) {
        return false;
    }
    const bool isKnown = method->content == responder || method->content == issuer;
    return !isKnown || location->tag == der::contextPrimitive(6);
}

bool readAuthorityAccess(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::sequence, extension.value, maximumElements, isAccessDescription);
}

/// Of the statement of a certificate's types, these must be object identifiers.
bool isQualifiedStatement(std::string_view content) {
    constexpr auto types = "\x04\x00\x8E\x46\x01\x06"sv;
    der::Reader reader(content);
    const auto statement = reader.next(der::objectIdentifier);
    const auto information = reader.atEnd() ? std::nullopt : reader.next();
    if (!statement || !reader.atEnd()) {
        return false;
    }
    return statement->content != types ||
           (information && isSequenceOf(der::objectIdentifier, information->whole,
                                        maximumStatementTypes, isAnything));
}

bool readQualifiedStatements(const Extension& extension, CertificateExtensions&) {
    return isSequenceOf(der::sequence, extension.value, maximumElements, isQualifiedStatement);
}

struct KnownExtension {
    std::string_view type;
    bool (*read)(const Extension& extension, CertificateExtensions& found);
};

constexpr KnownExtension knownExtensions[] = {
    {"\x55\x1D\x0E"sv, readSubjectKeyIdentifier},
    {"\x55\x1D\x0F"sv, readKeyUsage},
    {"\x55\x1D\x10"sv, readNothing}, // private key usage period
    {"\x55\x1D\x11"sv, readAlternativeNames},
    {"\x55\x1D\x12"sv, readNothing}, // issuer alternative names
    {"\x55\x1D\x13"sv, readBasicConstraints},
    {"\x55\x1D\x1E"sv, readNameConstraints},
    {"\x55\x1D\x1F"sv, readDistributionPoints},
    {"\x55\x1D\x20"sv, readPolicies},
    {"\x55\x1D\x21"sv, readPolicyMappings},
    {"\x55\x1D\x23"sv, readAuthorityKeyIdentifier},
    {"\x55\x1D\x24"sv, readPolicyConstraints},
    {"\x55\x1D\x25"sv, readExtendedKeyUsage},
    {"\x55\x1D\x36"sv, readInhibitAnyPolicy},
    {"\x2B\x06\x01\x05\x05\x07\x01\x01"sv, readAuthorityAccess},
    {"\x2B\x06\x01\x05\x05\x07\x01\x03"sv, readQualifiedStatements},
    {"\x2B\x06\x01\x05\x05\x07\x01\x0B"sv, readNothing},     // subject information access
    {"\x2B\x06\x01\x05\x05\x07\x30\x01\x05"sv, readNothing}, // no check of the responder
    {"\x60\x86\x48\x01\x86\xF8\x42\x01\x01"sv, readNothing}, // type of 2.16.840.1.113730.1.1
    {"\x2A\x86\x48\x86\xF6\x7D\x07\x41\x00"sv, readNothing}, // version of 1.2.840.113533.7.65.0
    {"\x2B\x06\x01\x04\x01\x82\x37\x15\x0A"sv, readNothing}, // 1.3.6.1.4.1.311.21.10
    {"\x67\x81\x14\x01\x01"sv, readNothing},                 // 2.23.148.1.1
    {"\x67\x81\x14\x01\x02"sv, readNothing},                 // 2.23.148.1.2
};

/// Every extension below one of these is known, and its value is not read.
constexpr std::string_view knownArcs[] = {
    "\x2A\x86\x48\x86\xF7\x63\x64\x06"sv,     // 1.2.840.113635.100.6, of the platform's maker
    "\x2A\x86\x48\x86\xF7\x63\x64\x0B"sv,     // 1.2.840.113635.100.11
    "\x2A\x86\x48\x86\xF7\x63\x64\x0C"sv,     // 1.2.840.113635.100.12
    "\x2A\x86\x48\x86\xF7\x63\x64\x0D"sv,     // 1.2.840.113635.100.13
    "\x2A\x86\x48\x86\xF7\x63\x64\x0F"sv,     // 1.2.840.113635.100.15
    "\x2B\x06\x01\x04\x01\x82\xC4\x69\x05"sv, // 1.3.6.1.4.1.41577.5
    "\x67\x81\x12\x02\x01"sv,                 // 2.23.146.2.1
};

bool isBelowKnownArc(std::string_view type) {
    return std::any_of(std::begin(knownArcs), std::end(knownArcs), [&](std::string_view arc) {
        return type.size() > arc.size() && type.starts_with(arc);
    });
}

std::optional<Extension> readExtension(der::Reader& list) {
    const auto sequence = list.next(der::sequence);
    if (!sequence) {
        return std::nullopt;
    }
    der::Reader reader(sequence->content);
    const auto type = reader.next(der::objectIdentifier);
    const auto critical = reader.next(der::boolean);
    const auto isCritical = critical ? der::booleanValue(critical->content) : false;
    const auto value = reader.next(der::octetString);
    if (!type || !isCritical || !value || !reader.atEnd()) {
        return std::nullopt;
    }
    return Extension{type->content, *isCritical, value->content};
}

/// False: a critical extension cannot be read.
bool readValue(const Extension& extension, CertificateExtensions& found) {
    const auto* const known =
        std::find_if(std::begin(knownExtensions), std::end(knownExtensions),
                     [&](const KnownExtension& each) { return each.type == extension.type; });
    if (known == std::end(knownExtensions)) {
        found.hasUnknownCritical |= extension.isCritical && !isBelowKnownArc(extension.type);
        return true;
    }
    const bool isRead = known->read(extension, found);
    found.hasUnreadable |= !isRead;
    return isRead || !extension.isCritical;
}

} // namespace

std::optional<CertificateExtensions> certificateExtensions(std::string_view list) {
    CertificateExtensions found;
    std::vector<std::string_view> types;
    der::Reader reader(list);
    while (!reader.atEnd()) {
        const auto extension = readExtension(reader);
        if (!extension || !readValue(*extension, found)) {
            return std::nullopt;
        }
        types.push_back(extension->type);
    }
    if (types.empty() || types.size() > maximumExtensions) {
        return std::nullopt;
    }
    std::sort(types.begin(), types.end());
    found.hasDuplicate = std::adjacent_find(types.begin(), types.end()) != types.end();
    return found;
}

} // namespace vel::x509
