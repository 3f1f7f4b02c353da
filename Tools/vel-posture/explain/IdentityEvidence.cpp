// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELCertificatePool.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "Platform/X509/VELX509Name.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"

#include <set>

using namespace vel::recorded;
using Kind = CheckOutcome::Kind;

namespace {

constexpr const char* notTrusted = "identity-not-trusted";

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

/// Identities that were found and did not pass. The code is that of the last one, unless the check
/// ends in an error: that of an evaluation.
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
        refusals.add(notTrusted,
                     name + " is not trusted: " +
                         (trust.error ? printable(trust.error->message()) : "no reason"));
    }
}

std::string issuerNameOf(const vel::x509::CertificateParts& parts) {
    const auto name = vel::x509::nameSummary(parts.issuer).text;
    return name ? "“" + printable(*name) + "”" : "an issuer without a name";
}

/// Why the keychains have no matching identity. The certificates that come nearest stand first.
class AbsentIdentity {
public:
    AbsentIdentity(std::string_view rootDER, const AllIdentities& identities, Answers answers)
        : _rootDER(rootDER), _identities(identities) {
        for (const auto* list : answersOf<Certificates>(answers)) {
            _certificates = list->certificates;
        }
        std::vector<std::string> all = identities.certificates;
        all.insert(all.end(), _certificates.begin(), _certificates.end());
        _pool.emplace(all);
        const auto root = vel::x509::certificateParts(rootDER);
        const auto subject = root ? vel::x509::normalizedName(root->subject) : std::nullopt;
        if (subject) {
            _leading = vel::x509::issuersLeadingTo(*subject, &*_pool);
        }
    }

    Evidence explain(Evidence evidence) {
        addIdentities();
        addCertificates();
        std::ranges::stable_sort(_reasons, {}, &Reason::rank);
        std::vector<std::string> texts;
        for (const Reason& reason : _reasons) {
            texts.push_back(reason.text);
        }
        evidence.found = texts;
        evidence.code = _reasons.empty() ? "identity-absent" : _reasons.front().code;
        evidence.text = texts.empty() ? "the keychains hold no identity"
                                      : sentence(texts) + "; " + evidence.text;
        return evidence;
    }

private:
    struct Reason {
        int rank;
        const char* code;
        std::string text;
    };

    bool leadsToRoot(const vel::x509::CertificateParts& parts) const {
        const auto issuer = vel::x509::normalizedName(parts.issuer);
        return issuer && _leading.contains(*issuer);
    }

    void addIdentities() {
        for (const std::string& der : _identities.certificates) {
            const auto parts = vel::x509::certificateParts(der);
            if (!parts) {
                continue;
            }
            const std::string name = nameOfCertificate(der);
            if (!leadsToRoot(*parts)) {
                addStranger(*parts, name);
            } else if (parts->notAfter < _identities.moment) {
                _reasons.push_back(
                    {0, "identity-expired", name + " expired " + dayOf(parts->notAfter)});
            } else if (_identities.moment < parts->notBefore) {
                _reasons.push_back({1, "identity-not-yet-valid",
                                    name + " is not valid before " + dayOf(parts->notBefore)});
            }
        }
    }

    /// An identity that was not issued under the root, as far as the keychains tell.
    void addStranger(vel::x509::CertificateParts parts, const std::string& name) {
        constexpr int longestChain = 10;
        for (int length = 0; length < longestChain; ++length) {
            const auto issuer = vel::x509::normalizedName(parts.issuer);
            if (issuer && issuer == vel::x509::normalizedName(parts.subject)) {
                _reasons.push_back({3, "identity-of-another-root",
                                    name + " was issued under " + issuerNameOf(parts)});
                return;
            }
            const auto above = issuer ? _pool->certificatesOf(*issuer, 1)
                                      : std::vector<std::shared_ptr<const VELX509Certificate>>();
            if (above.empty()) {
                break;
            }
            parts = above.front()->parts();
        }
        _reasons.push_back({4, "identity-issuer-missing",
                            name + " was issued under " + issuerNameOf(parts) +
                                ", which is not in the keychains"});
    }

    /// Certificates that would do if they had their key.
    void addCertificates() {
        for (const std::string& der : _certificates) {
            const auto parts = vel::x509::certificateParts(der);
            const bool isIdentity =
                std::ranges::find(_identities.certificates, der) != _identities.certificates.end();
            if (parts && !isIdentity && der != _rootDER && leadsToRoot(*parts) &&
                !parts->extensions.basicConstraints.value_or(vel::x509::BasicConstraints())
                     .isAuthority) {
                _reasons.push_back(
                    {2, "identity-without-key", nameOfCertificate(der) + " has no private key"});
            }
        }
    }

    std::string_view _rootDER;
    const AllIdentities& _identities;
    std::vector<std::string> _certificates;
    std::optional<VELCertificatePool> _pool;
    std::set<std::string, std::less<>> _leading;
    std::vector<Reason> _reasons;
};

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
    evidence.code = refusals.hasError ? notTrusted : refusals.code;
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
    const bool isFound = identities->status == VELSecurityStatus::success;
    if (identities->status == VELSecurityStatus::itemNotFound ||
        (isFound && identities->count == 0)) {
        evidence.code = "identity-absent";
        evidence.text = "no identity that is valid now was issued under " + root;
        if (const auto* all = answerOf<AllIdentities>(answers)) {
            evidence = AbsentIdentity(*der, *all, answers).explain(std::move(evidence));
        }
        return Explanation{Kind::fail, std::move(evidence)};
    }
    if (!isFound) {
        return Explanation{Kind::fail, unreadableKeychains(identities->status, answers,
                                                           std::move(evidence.expected))};
    }
    return explainExamined(std::move(evidence), answers);
}
