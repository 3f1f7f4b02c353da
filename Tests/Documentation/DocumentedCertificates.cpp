// SPDX-License-Identifier: Apache-2.0
#include "Tests/Documentation/DocumentedCertificates.h"

#include "Base/VELBase64.h"
#include "Tests/Documentation/MarkdownDocument.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace {

std::string inPieces(const std::string& text, const std::string& separator) {
    std::string pieces;
    for (std::size_t start = 0; start < text.size(); start += 64) {
        pieces += text.substr(start, 64) + separator;
    }
    return pieces;
}

} // namespace

DocumentedCertificates::DocumentedCertificates() {
    // Until its base64 text ends with "=": the length of a signature varies.
    do {
        _root = _workshop.makeAuthority("Root");
    } while (_root.size() % 3 == 0);
    _otherRoot = _workshop.makeAuthority("Other");
    const std::string good = _workshop.makeLeaf("Good", "Root");
    const std::string middle = _workshop.makeAuthority("Middle", "Root");
    const std::string belowMiddle = _workshop.makeLeaf("Below", "Middle");
    const auto expired = [this](const std::string& name, const std::string& extensions) {
        return _workshop.make({.name = name,
                               .issuer = "Root",
                               .extensions = extensions,
                               .notAfter = "20290101000000Z"});
    };
    const std::string expiredMiddle = expired("Old", authorityExtensions);
    const std::string belowExpired = _workshop.makeLeaf("BelowOld", "Old");
    _workshop.make({.name = "Namesake", .subject = "/CN=Root", .extensions = authorityExtensions});
    const std::string namesakes = _workshop.makeLeaf("Foreign", "Namesake");

    _holdings = {
        {"nothing", {}},
        {"an identity issued by the root", {{good}, {}}},
        {"an identity issued by an intermediate of the root, and the intermediate",
         {{belowMiddle}, {middle}}},
        {"an identity issued by an intermediate of the root, without the intermediate",
         {{belowMiddle}, {}}},
        {"an identity issued by another root",
         {{_workshop.makeLeaf("Stranger", "Other")}, {_otherRoot}}},
        {"an identity issued by another root of the same name", {{namesakes}, {}}},
        {"an identity issued by the root that has expired",
         {{expired("Late", leafExtensions)}, {}}},
        {"an identity issued by the root that is not valid yet",
         {{_workshop.make({.name = "Early",
                           .issuer = "Root",
                           .extensions = leafExtensions,
                           .notBefore = "20310101000000Z"})},
          {}}},
        {"an identity issued by an intermediate that has expired, and the intermediate",
         {{belowExpired}, {expiredMiddle}}},
        {"an identity that cannot be trusted, then one issued by the root",
         {{belowExpired, good}, {expiredMiddle}}},
        {"the certificate of the root with its private key", {{_root}, {}}},
        {"the certificate of an identity issued by the root, without its private key",
         {{}, {good}}},
    };

    const auto under = [this](const CertificateOrder& issuer) {
        std::string certificate = _workshop.make(issuer);
        return Holding{{_workshop.makeLeaf("Below" + issuer.name, issuer.name)},
                       {std::move(certificate)}};
    };
    const auto leaf = [this](CertificateOrder order) {
        order.issuer = "Root";
        order.extensions = leafExtensions;
        return Holding{{_workshop.make(order)}, {}};
    };
    // No curve signs with MD5.
    const std::string signer = _workshop.make({.name = "Signer",
                                               .issuer = "Root",
                                               .extensions = authorityExtensions,
                                               .key = "RSA -pkeyopt rsa_keygen_bits:2048"});
    const std::string weak = _workshop.make(
        {.name = "Weak", .issuer = "Signer", .extensions = leafExtensions, .digest = "md5"});
    _untrusted = {
        {"not trusted", {{namesakes}, {}}},
        {"expired", {{belowExpired}, {expiredMiddle}}},
        {"not compliant",
         under({.name = "NoIssuer", .issuer = "Root", .extensions = leafExtensions})},
        {"key size", leaf({.name = "Small", .key = "RSA -pkeyopt rsa_keygen_bits:768"})},
        {"algorithm", {{weak}, {signer}}},
        {"usage", under({.name = "NoSigner",
                         .issuer = "Root",
                         .extensions = "basicConstraints=critical,CA:true\n"
                                       "keyUsage=digitalSignature\n"})},
        {"no name", leaf({.name = "Nameless", .subject = "/"})},
    };
}

void DocumentedCertificates::fill(VELSimulatedKeychain& keychain, const Holding& holding) {
    keychain.date = vel::momentOfText("2030-01-01T00:00:00Z");
    keychain.certificateList = holding.certificates;
    keychain.identityList.clear();
    for (const std::string& certificate : holding.identities) {
        keychain.identityList.push_back({.certificate = certificate});
    }
}

void DocumentedCertificates::fill(VELSimulatedKeychain& keychain, const std::string& words) const {
    fill(keychain, _holdings.at(words));
}

std::vector<std::string> DocumentedCertificates::untrustedIdentities() const {
    std::vector<std::string> names;
    for (const auto& [name, holding] : _untrusted) {
        names.push_back(name);
    }
    return names;
}

void DocumentedCertificates::fillWithUntrusted(VELSimulatedKeychain& keychain,
                                               const std::string& name) const {
    fill(keychain, _untrusted.at(name));
}

VELValue DocumentedCertificates::valueOf(const std::string& words) const {
    if (words.starts_with('`')) {
        return VELValue::parse(codeOfCell(words));
    }
    const std::string text = vel::base64Text(_root);
    const std::string lines = inPieces(text, "\n");
    const std::map<std::string, std::string> values = {
        {"the root, in one line", text},
        {"the root, in lines of 64 characters", lines},
        {"the root, with spaces in it", inPieces(text, " ")},
        {"the root, with PEM armour",
         "-----BEGIN CERTIFICATE-----\n" + lines + "-----END CERTIFICATE-----\n"},
        {"the root, without the `=` at its end", text.substr(0, text.find('='))},
        {"the first half of the root", text.substr(0, text.size() / 8 * 4)},
        {"another root", vel::base64Text(_otherRoot)},
    };
    return values.at(words);
}
