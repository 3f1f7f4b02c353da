// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Base/VELText.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "Platform/X509/VELCertificateChain.h"
#include "Platform/X509/VELX509Name.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace {

using vel::x509::ChainCheck;
using Certificate = vel::x509::CertificatePointer;

constexpr std::string_view armourStart = "-----BEGIN ";
constexpr std::string_view armourEnd = "-----";
constexpr std::string_view certificateLabel = "CERTIFICATE";

constexpr const char* noMachine = ": no machine passes";
constexpr const char* refused = ": every chain to it is refused, no machine passes";
constexpr const char* notRecognised =
    ": an identity that is the root certificate itself is not excluded, and may pass";
constexpr const char* wantedCertificate =
    "write what this prints: openssl x509 -in ROOT -outform DER | openssl base64 -A";
constexpr const char* anotherRoot = "have the authority make a new root certificate";
constexpr const char* authority = "write the certificate of the authority itself";

struct PolicyRow {
    ChainCheck check;
    const char* problem;
    const char* advice;
};

constexpr std::array policyRows = {
    PolicyRow{ChainCheck::keySize, "has a key that is too short, or of an unknown kind",
              anotherRoot},
    PolicyRow{ChainCheck::signatureAlgorithm, "is signed with MD5 or an older digest", anotherRoot},
    PolicyRow{ChainCheck::basicConstraints, "has no basic constraints that make it an authority",
              authority},
    PolicyRow{ChainCheck::basicConstraintsAuthority, "is not a certificate authority", authority},
    PolicyRow{ChainCheck::keyUsage, "is not allowed to sign certificates", authority},
    PolicyRow{ChainCheck::unreadableExtension, "has an extension that cannot be read", anotherRoot},
    PolicyRow{ChainCheck::duplicateExtension, "has an extension twice", anotherRoot},
    PolicyRow{ChainCheck::nonEmptySubject, "has an empty subject", anotherRoot},
};

/// The label of the armour at the front of `text`, such as "CERTIFICATE"; the text after it.
std::string_view takeLabel(std::string_view& text) {
    text.remove_prefix(text.find(armourStart) + armourStart.size());
    const std::size_t end = std::min(text.find(armourEnd), text.size());
    const std::string_view label = text.substr(0, end);
    text.remove_prefix(std::min(end + armourEnd.size(), text.size()));
    return label;
}

/// The text within the armour lines, or all of it if there are none. Returns nullopt, and reports
/// it, if the text is not a single certificate.
std::optional<std::string_view> withoutArmour(std::string_view text,
                                              const ParameterLint& certificate) {
    if (text.find(armourStart) == std::string_view::npos) {
        return text;
    }
    const std::string_view label = takeLabel(text);
    if (label != certificateLabel) {
        certificate.report(
            rule::neverPasses,
            "is a PEM text with " + finding::quoted(label) + ", not with a certificate" + noMachine,
            label.ends_with("PRIVATE KEY") ? "write the root certificate, and keep the key secret"
                                           : wantedCertificate);
        return std::nullopt;
    }
    const bool isSingle = text.find(armourStart) == std::string_view::npos;
    certificate.report(rule::neverPasses,
                       std::string(isSingle ? "contains the armour lines of a PEM file"
                                            : "contains several PEM texts") +
                           noMachine,
                       isSingle ? "write the base64 text between them alone"
                                : "write the base64 text of the root certificate alone");
    if (!isSingle) {
        return std::nullopt;
    }
    return text.substr(0, text.find(armourEnd));
}

bool isBase64(char32_t character) {
    return (character >= U'A' && character <= U'Z') || (character >= U'a' && character <= U'z') ||
           (character >= U'0' && character <= U'9') || character == U'+' || character == U'/' ||
           character == U'=';
}

/// What only decoding skips.
std::u32string skippedCharacters(std::string_view text) {
    std::u32string skipped = vel::characters(text);
    std::erase_if(skipped, [](char32_t character) {
        return isBase64(character) || vel::isLineTerminator(character);
    });
    return skipped;
}

/// Whether it is worth reading on.
bool lintAlphabet(const std::u32string& skipped, const ParameterLint& certificate) {
    const std::string contains = "contains " + finding::charactersIn(skipped);
    if (skipped.find_first_of(U"-_") != std::u32string::npos) {
        certificate.report(rule::neverPasses,
                           contains + ", which are skipped, so that it decodes to other bytes" +
                               noMachine,
                           "write the standard alphabet of base64: \"+\" for \"-\" and \"/\" for "
                           "\"_\"");
        return false;
    }
    if (skipped.find(U'\\') != std::u32string::npos) {
        certificate.report(rule::neverPasses,
                           contains + "; of these only line breaks are allowed" + noMachine,
                           "a line break in JSON is \\n with a single backslash");
        return false;
    }
    return true;
}

void lintNoCertificate(const std::string& bytes, const ParameterLint& certificate) {
    certificate.report(rule::neverPasses,
                       std::string("decodes, but not to a certificate") + noMachine,
                       bytes.find(armourStart) == std::string::npos
                           ? wantedCertificate
                           : "it is a PEM file in base64: write the text between its armour lines");
}

void lintEncoding(std::string_view text, const std::string& bytes, const Certificate& root,
                  const ParameterLint& certificate) {
    if (const auto skipped = skippedCharacters(text); !skipped.empty()) {
        certificate.report(rule::oddCertificate,
                           "contains " + finding::charactersIn(skipped) + ", which are skipped" +
                               notRecognised,
                           "write the base64 text without them; line breaks may stay");
    }
    if (const std::size_t more = bytes.size() - root->der().size(); more > 0) {
        certificate.report(rule::oddCertificate,
                           "has " + std::to_string(more) + (more == 1 ? " byte" : " bytes") +
                               " after the certificate" + notRecognised,
                           wantedCertificate);
        return;
    }
    std::string plain(text);
    std::erase_if(plain,
                  [](char character) { return !isBase64(static_cast<unsigned char>(character)); });
    if (plain != vel::base64Text(root->der())) {
        certificate.report(
            rule::oddCertificate,
            std::string("is padded differently from the certificate's own base64 text") +
                notRecognised,
            wantedCertificate);
    }
}

void lintIssuer(const Certificate& root, const ParameterLint& certificate) {
    constexpr const char* advice = "write the root certificate, which issued itself";
    if (root->isSelfIssued()) {
        if (!vel::x509::isSignedBy(*root, *root)) {
            certificate.report(
                rule::oddCertificate,
                "is not a root certificate: it names itself as its issuer, but another key signed "
                "it",
                advice);
        }
        return;
    }
    const auto issuer = vel::x509::nameSummary(root->parts().issuer).text;
    certificate.report(rule::oddCertificate,
                       "is not a root certificate: " +
                           (issuer ? finding::quoted(*issuer) : "another authority") + " issued it",
                       advice);
}

std::string dateText(VELMoment moment) {
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(moment));
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02u-%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

void lintValidity(const Certificate& root, const ParameterLint& certificate) {
    const VELMoment first = root->parts().notBefore;
    const VELMoment last = root->parts().notAfter;
    if (certificate.now < first) {
        certificate.report(rule::unusableCertificate,
                           "is not valid before " + dateText(first) + refused,
                           "write a root certificate that is valid now");
    } else if (certificate.now > last) {
        certificate.report(rule::unusableCertificate, "expired on " + dateText(last) + refused,
                           "write the root certificate that replaced it");
    }
}

void lintPolicy(const Certificate& root, const ParameterLint& certificate) {
    for (const ChainCheck failure : vel::x509::anchorFailures(root, certificate.now)) {
        const auto* const row =
            std::find_if(policyRows.begin(), policyRows.end(),
                         [&](const PolicyRow& each) { return each.check == failure; });
        if (row != policyRows.end()) {
            certificate.report(rule::unusableCertificate, std::string(row->problem) + refused,
                               row->advice);
        }
    }
    lintValidity(root, certificate);
}

} // namespace

void lintRootCertificate(const ParameterLint& certificate) {
    const std::string* text =
        certificate.text(vel::errortext::notAString("cert"), wantedCertificate);
    if (text == nullptr) {
        return;
    }
    if (text->empty()) {
        certificate.report(rule::neverPasses, std::string("is empty") + noMachine,
                           wantedCertificate);
        return;
    }
    const auto body = withoutArmour(*text, certificate);
    if (!body || !lintAlphabet(skippedCharacters(*body), certificate)) {
        return;
    }
    const auto bytes = vel::bytesOfBase64IgnoringUnknown(*body);
    if (!bytes) {
        certificate.report(
            rule::neverPasses,
            std::string("is not valid base64: its padding is missing or in the wrong place") +
                noMachine,
            wantedCertificate);
        return;
    }
    const Certificate root = VELX509Certificate::parse(*bytes);
    if (root == nullptr) {
        lintNoCertificate(*bytes, certificate);
    } else if (!root->subject()) {
        certificate.report(rule::unusableCertificate,
                           std::string("has a subject that cannot be read") + noMachine,
                           anotherRoot);
    } else {
        lintEncoding(*body, *bytes, root, certificate);
        lintIssuer(root, certificate);
        lintPolicy(root, certificate);
    }
}
