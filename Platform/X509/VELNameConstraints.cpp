// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELNameConstraints.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Name.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::x509 {
namespace {

constexpr std::size_t maximumSubtrees = 1'023;
constexpr std::size_t maximumComparisons = std::size_t{1} << 20U;

constexpr std::uint8_t emailAddress = der::contextPrimitive(1);
constexpr std::uint8_t hostName = der::contextPrimitive(2);
constexpr std::uint8_t directoryName = der::context(4);
constexpr std::uint8_t address = der::contextPrimitive(6);
constexpr std::uint8_t networkAddress = der::contextPrimitive(7);

/// A general name: its form is its tag.
using Name = der::Element;

/// Permitted names match narrowly and excluded ones widely. A malformed name or constraint matches
/// only widely.
enum class Matching { narrow, wide };

char lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a')
                                                : character;
}

bool areEqualIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return lower(one) == lower(other); });
}

bool endsWithIgnoringCase(std::string_view text, std::string_view end) {
    return text.size() >= end.size() &&
           areEqualIgnoringCase(text.substr(text.size() - end.size()), end);
}

/// The host itself and everything below it.
bool matchesHost(std::string_view host, std::string_view constraint) {
    if (constraint.empty() || host.size() == constraint.size()) {
        return constraint.empty() || areEqualIgnoringCase(host, constraint);
    }
    const bool isBelow =
        constraint.front() == '.' ||
        (host.size() > constraint.size() && host[host.size() - constraint.size() - 1] == '.');
    return isBelow && endsWithIgnoringCase(host, constraint);
}

/// A host alone, or with a leading period everything below a domain.
bool matchesHostOrDomain(std::string_view host, std::string_view constraint) {
    if (constraint.starts_with('.')) {
        return !host.starts_with('.') && endsWithIgnoringCase(host, constraint);
    }
    return areEqualIgnoringCase(host, constraint);
}

bool matchesEmailAddress(std::string_view text, std::string_view constraint, Matching matching) {
    const std::size_t first = text.find('@');
    const bool isUnclear = first == std::string_view::npos || constraint.empty();
    if (isUnclear) {
        return matching == Matching::wide;
    }
    if (constraint.find('@') != std::string_view::npos) {
        return areEqualIgnoringCase(text, constraint);
    }
    // Of "a@b@host", nobody knows what is the host.
    const std::size_t last = text.rfind('@');
    return (first == last || matching == Matching::wide) &&
           matchesHostOrDomain(text.substr(last + 1), constraint);
}

bool matchesHostOfAddress(std::string_view host, std::string_view constraint, Matching matching) {
    if (matching == Matching::wide && !constraint.starts_with('.')) {
        // The platform compares the front of the host alone.
        return areEqualIgnoringCase(host.substr(0, constraint.size()), constraint);
    }
    return matchesHostOrDomain(host, constraint);
}

/// The host of "scheme://user@host:port/path?query#fragment" as the platform reads it, which knows
/// neither user nor query, and as RFC 3986 does.
bool matchesAddress(std::string_view text, std::string_view constraint, Matching matching) {
    constexpr std::string_view separator = "://";
    const std::size_t scheme = text.find(separator);
    if (scheme == std::string_view::npos) {
        return matching == Matching::wide;
    }
    text.remove_prefix(scheme + separator.size());
    const bool isMatch =
        matchesHostOfAddress(text.substr(0, text.find_first_of(":/")), constraint, matching);
    std::string_view host = text.substr(0, text.find_first_of("/?#"));
    host.remove_prefix(host.rfind('@') + 1); // npos + 1 is 0
    const bool isStandardMatch =
        matchesHostOfAddress(host.substr(0, host.find(':')), constraint, matching);
    return matching == Matching::wide ? isMatch || isStandardMatch : isMatch && isStandardMatch;
}

/// The constraint is an address and a mask.
bool matchesNetworkAddress(std::string_view bytes, std::string_view constraint, Matching matching) {
    const bool isAddress = bytes.size() == 4 || bytes.size() == 16;
    const bool isNetwork = constraint.size() == 8 || constraint.size() == 32;
    if (!isAddress || !isNetwork) {
        return matching == Matching::wide;
    }
    if (constraint.size() != 2 * bytes.size()) {
        return false; // of the other version
    }
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const int mask = constraint[bytes.size() + index];
        if ((bytes[index] & mask) != (constraint[index] & mask)) {
            return false;
        }
    }
    return true;
}

/// Whether a name begins with the relative names of the constraint, byte by byte. One that is the
/// constraint itself is below it only in the wide sense.
bool matchesDirectoryName(std::string_view name, std::string_view constraint, Matching matching) {
    const auto own = der::Reader(name).next(der::sequence);
    const auto wanted = der::Reader(constraint).next(der::sequence);
    if (!own || !wanted) {
        return matching == Matching::wide;
    }
    return own->content.starts_with(wanted->content) &&
           (matching == Matching::wide || own->content.size() > wanted->content.size());
}

bool matches(const Name& name, std::string_view constraint, Matching matching) {
    switch (name.tag) {
    case emailAddress:
        return matchesEmailAddress(name.content, constraint, matching);
    case hostName:
        return matchesHost(name.content, constraint);
    case directoryName:
        return matchesDirectoryName(name.content, constraint, matching);
    case address:
        return matchesAddress(name.content, constraint, matching);
    case networkAddress:
        return matchesNetworkAddress(name.content, constraint, matching);
    default:
        return false; // a form whose constraints have no meaning
    }
}

/// An address that is wrapped in a string counts as it would without.
Name unwrapped(const Name& name) {
    const auto text = name.tag == der::context(6) ? der::Reader(name.content).next() : std::nullopt;
    return text ? Name{address, text->content, name.whole} : name;
}

std::vector<Name> subtreesOf(std::string_view list) {
    std::vector<Name> subtrees;
    der::Reader reader(list);
    while (const auto subtree = reader.next(der::sequence)) {
        if (const auto name = der::Reader(subtree->content).next()) {
            subtrees.push_back(unwrapped(*name));
        }
    }
    return subtrees;
}

bool isPermitted(const Name& name, const std::vector<Name>& permitted) {
    bool isConstrained = false;
    for (const Name& subtree : permitted) {
        if (subtree.tag == name.tag) {
            isConstrained = true;
            if (matches(name, subtree.content, Matching::narrow)) {
                return true;
            }
        }
    }
    return !isConstrained;
}

bool isExcluded(const Name& name, const std::vector<Name>& excluded) {
    return std::any_of(excluded.begin(), excluded.end(), [&](const Name& subtree) {
        return subtree.tag == name.tag && matches(name, subtree.content, Matching::wide);
    });
}

/// The names of a certificate; their texts are kept in `texts`.
std::vector<Name> namesOf(const CertificateParts& certificate, std::vector<std::string>& texts) {
    std::vector<Name> names;
    if (attributeCount(certificate.subject) > 0) {
        names.push_back({directoryName, certificate.subject, certificate.subject});
    }
    for (auto& text : emailAddressesOfName(certificate.subject)) {
        texts.push_back(std::move(text).value_or("")); // without a text, it has no host
    }
    for (const std::string& text : texts) {
        names.push_back({emailAddress, text, text});
    }
    der::Reader reader(certificate.extensions.alternativeNames);
    while (const auto name = reader.next()) {
        names.push_back(unwrapped(*name));
    }
    return names;
}

bool isSupported(const Name& subtree) {
    switch (subtree.tag) {
    case emailAddress:
    case hostName:
    case directoryName:
    case address:
    case networkAddress:
        return true;
    default:
        return false;
    }
}

} // namespace

bool allowsNames(const NameSubtrees& issuer, const CertificateParts& certificate) {
    const std::vector<Name> permitted = subtreesOf(issuer.permitted);
    const std::vector<Name> excluded = subtreesOf(issuer.excluded);
    std::vector<std::string> texts;
    const std::vector<Name> names = namesOf(certificate, texts);
    const std::size_t count = names.size() + attributeCount(certificate.subject);
    if (permitted.size() > maximumSubtrees || excluded.size() > maximumSubtrees ||
        count * (permitted.size() + excluded.size()) > maximumComparisons) {
        return false;
    }
    return std::all_of(names.begin(), names.end(), [&](const Name& name) {
        return isPermitted(name, permitted) && !isExcluded(name, excluded);
    });
}

bool areSubtreesSupported(const NameSubtrees& subtrees) {
    const auto areSupported = [](std::string_view list) {
        const std::vector<Name> names = subtreesOf(list);
        return std::all_of(names.begin(), names.end(), isSupported);
    };
    return areSupported(subtrees.permitted) && areSupported(subtrees.excluded);
}

} // namespace vel::x509
