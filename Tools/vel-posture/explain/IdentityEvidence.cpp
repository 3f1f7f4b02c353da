// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/explain/Explanation.h"
#include "Tools/vel-posture/lint/Finding.h"

using namespace vel::recorded;
using Kind = CheckOutcome::Kind;

namespace {

std::string statusText(VELSecurityStatus status) {
    return "status " + std::to_string(vel::integerOfStatus(status)) + ", " +
           vel::security::textOfStatus(status);
}

Explanation unreadableRoot(const std::string& text, bool isDecoded) {
    Evidence evidence = {.code = isDecoded ? "root-not-a-certificate" : "root-not-base64",
                         .expected = "a root certificate",
                         .found = nullptr,
                         .source = "the request"};
    if (text.empty()) {
        evidence.code = "root-empty";
        evidence.text = "\"cert\" is empty";
    } else if (text.find("-----BEGIN ") != std::string::npos) {
        evidence.code = "root-with-armour";
        evidence.text = "\"cert\" has the armour lines of a PEM file: no certificate can be read";
    } else if (isDecoded) {
        evidence.text = "\"cert\" decodes to bytes that are no certificate: " +
                        countOf(text.size(), "character", "characters") + " of base64";
    } else {
        evidence.text =
            "\"cert\" is no whole base64: " + countOf(text.size(), "character", "characters") +
            ", padding with \"=\" is missing";
    }
    return {Kind::fail, std::move(evidence)};
}

/// The evaluation of an identity, which follows its certificate in the answers.
struct Examined {
    const IdentityCertificate* identity;
    const Trust* trust; // null: the root itself
};

std::vector<Examined> examinedIn(Answers answers) {
    std::vector<Examined> all;
    for (const VELRecordedAnswer& each : answers) {
        if (const auto* identity = std::get_if<IdentityCertificate>(&each.answer)) {
            all.push_back({identity, nullptr});
        } else if (const auto* trust = std::get_if<Trust>(&each.answer);
                   trust != nullptr && !all.empty() && all.back().trust == nullptr) {
            all.back().trust = trust;
        }
    }
    return all;
}

/// Codes and texts of identities that were found and did not pass, the code of the last one.
struct Refusals {
    std::string code;
    std::vector<std::string> texts;
    bool hasError = false; // of the last evaluation

    void add(const char* why, std::string text) {
        code = why;
        texts.push_back(std::move(text));
    }
};

void addRefusal(Refusals& refusals, const Examined& examined) {
    const IdentityCertificate& identity = *examined.identity;
    if (identity.status != VELSecurityStatus::success || !identity.certificate) {
        refusals.add("identity-not-readable",
                     "an identity's certificate cannot be read: " + statusText(identity.status));
        return;
    }
    const std::string name = nameOfCertificate(*identity.certificate);
    if (examined.trust == nullptr) {
        refusals.add("identity-is-root", name + " is the root itself, which does not count");
        return;
    }
    const Trust& trust = *examined.trust;
    if (trust.created != VELSecurityStatus::success) {
        refusals.add("trust-not-made", name + " cannot be evaluated: " + statusText(trust.created));
    } else if (trust.anchored != VELSecurityStatus::success) {
        refusals.add("anchor-refused", "the root is refused as an anchor for " + name + ": " +
                                           statusText(trust.anchored));
    } else {
        // An evaluation without an error text is none of a real platform.
        refusals.hasError = trust.error.has_value();
        refusals.add("identity-not-trusted",
                     name + " is not trusted: " +
                         (trust.error ? printable(trust.error->description()) : "no reason"));
    }
}

Explanation explainExamined(Evidence evidence, Answers answers) {
    Refusals refusals;
    evidence.found = VELValue::array();
    for (const Examined& examined : examinedIn(answers)) {
        const auto& certificate = examined.identity->certificate;
        if (certificate) {
            evidence.found.push_back(nameOfCertificate(*certificate));
        }
        if (examined.trust != nullptr && examined.trust->isTrusted.value_or(false)) {
            const auto parts =
                certificate ? vel::x509::certificateParts(*certificate) : std::nullopt;
            evidence.code = "identity-trusted";
            evidence.text = nameOfCertificate(certificate.value_or("")) + " is trusted" +
                            (parts ? ", valid until " + dayOf(parts->notAfter) : "");
            return {Kind::pass, std::move(evidence)};
        }
        addRefusal(refusals, examined);
    }
    evidence.code = refusals.code;
    evidence.text = sentence(refusals.texts);
    return {refusals.hasError ? Kind::error : Kind::fail, std::move(evidence)};
}

} // namespace

std::optional<Explanation> explainIdentity(const VELDictionary& entry, Answers answers) {
    const VELValue& cert = entry.at("cert");
    if (!cert.is_string()) {
        return wrongType("cert", cert, "a string");
    }
    const auto& text = cert.get_ref<const std::string&>();
    const auto der = vel::bytesOfBase64IgnoringUnknown(text);
    const auto* identities = answerOf<Identities>(answers);
    if (identities == nullptr) {
        return unreadableRoot(text, der.has_value());
    }
    const std::string root = nameOfCertificate(der.value_or(""));
    Evidence evidence = {.expected = "an identity issued under " + root,
                         .found = nullptr,
                         .source = "the keychains"};
    if (identities->status == VELSecurityStatus::itemNotFound) {
        evidence.code = "identity-absent";
        evidence.text = "no identity that is valid now was issued under " + root;
        return Explanation{Kind::fail, std::move(evidence)};
    }
    if (identities->status != VELSecurityStatus::success) {
        evidence.code = "keychain-not-readable";
        evidence.text = "the keychains cannot be read: " + statusText(identities->status);
        return Explanation{Kind::fail, std::move(evidence)};
    }
    return explainExamined(std::move(evidence), answers);
}
