// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateChain.h"

#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELNameConstraints.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "vel_device_trust/VELValue.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <openssl/core_names.h>
#include <string_view>
#include <tuple>
#include <utility>

namespace vel::x509 {
namespace {

constexpr int minimumRSABits = 1024;

/// Kinds of failures, the weightiest first.
enum class Kind : std::uint8_t { keySize, algorithm, compliance, trust, usage, expired };

struct CheckRow {
    Kind kind;
    VELSecurityStatus code;
};

/// Ordered as `ChainCheck`.
constexpr CheckRow rows[] = {
    {Kind::keySize, VELSecurityStatus::unsupportedKeySize},
    {Kind::algorithm, VELSecurityStatus::invalidDigestAlgorithm},
    {Kind::compliance, VELSecurityStatus::noBasicConstraints},
    {Kind::compliance, VELSecurityStatus::noBasicConstraintsAuthority},
    {Kind::compliance, VELSecurityStatus::pathLengthExceeded},
    {Kind::compliance, VELSecurityStatus::invalidIdentifierLinkage},
    {Kind::compliance, VELSecurityStatus::unknownCriticalExtension},
    {Kind::compliance, VELSecurityStatus::unknownCertificateExtension},
    {Kind::compliance, VELSecurityStatus::certificateDuplicateExtension},
    {Kind::compliance, VELSecurityStatus::invalidSubjectName},
    {Kind::compliance, VELSecurityStatus::invalidName},
    {Kind::compliance, VELSecurityStatus::invalidPolicyIdentifiers},
    {Kind::trust, VELSecurityStatus::notTrusted},
    {Kind::trust, VELSecurityStatus::createChainFailed},
    {Kind::usage, VELSecurityStatus::invalidKeyUsageForPolicy},
    {Kind::expired, VELSecurityStatus::certificateExpired},
};

/// Ordered as `Kind`: what stands behind the name of the certificate.
constexpr const char* descriptions[] = {
    " certificate is using a broken key size",
    " certificate is using a broken signature algorithm",
    " certificate is not standards compliant",
    " certificate is not trusted",
    " certificate is not permitted for this usage",
    " certificate is expired",
};

const CheckRow& rowOf(ChainCheck check) {
    return rows[static_cast<std::size_t>(check)];
}

/// The curves that the platform has, by their name alone: parameters that spell out a curve do not
/// count.
bool hasKnownCurve(const EVP_PKEY* key) {
    constexpr std::string_view known[] = {"prime192v1", "secp224r1", "prime256v1", "secp384r1",
                                          "secp521r1"};
    char name[32] = {};
    int isSpelledOut = 1;
    return EVP_PKEY_get_int_param(key, OSSL_PKEY_PARAM_EC_DECODED_FROM_EXPLICIT_PARAMS,
                                  &isSpelledOut) == 1 &&
           isSpelledOut == 0 && EVP_PKEY_get_group_name(key, name, sizeof name, nullptr) == 1 &&
           std::find(std::begin(known), std::end(known), name) != std::end(known);
}

bool hasStrongKey(X509* certificate) {
    const EVP_PKEY* key = X509_get0_pubkey(certificate);
    if (key == nullptr) {
        return false;
    }
    switch (EVP_PKEY_get_base_id(key)) {
    case EVP_PKEY_RSA:
    case EVP_PKEY_RSA_PSS:
        return EVP_PKEY_get_bits(key) >= minimumRSABits;
    case EVP_PKEY_EC:
        return hasKnownCurve(key);
    case EVP_PKEY_ED25519:
    case EVP_PKEY_ED448:
        return true;
    default:
        return false;
    }
}

/// The digest of a known algorithm that OpenSSL fails to tell may be a broken one. An algorithm
/// that is not known verifies nothing.
bool hasBrokenDigest(X509* certificate) {
    int digest = NID_undef;
    if (X509_get_signature_info(certificate, &digest, nullptr, nullptr, nullptr) != 1) {
        return OBJ_find_sigid_algs(X509_get_signature_nid(certificate), nullptr, nullptr) == 1;
    }
    return digest == NID_md2 || digest == NID_md4 || digest == NID_md5;
}

bool hasBrokenSignature(const VELX509Certificate& certificate) {
    return hasBrokenDigest(certificate.x509()) &&
           !(certificate.isSelfIssued() && isSignedBy(certificate, certificate));
}

/// What OpenSSL cannot read of what the verification of a chain depends on. It reads more: in forms
/// of alternative names into which nobody else looks, say.
bool isUnreadableForOpenSSL(const X509* certificate) {
    constexpr int types[] = {NID_subject_key_identifier,  NID_authority_key_identifier,
                             NID_basic_constraints,       NID_key_usage,
                             NID_ext_key_usage,           NID_name_constraints,
                             NID_crl_distribution_points, NID_certificate_policies,
                             NID_policy_mappings,         NID_policy_constraints,
                             NID_inhibit_any_policy};
    return std::any_of(std::begin(types), std::end(types), [&](int type) {
        int presence = -1;
        void* value = X509_get_ext_d2i(certificate, type, &presence, nullptr);
        if (value == nullptr) {
            return presence != -1;
        }
        ASN1_item_free(static_cast<ASN1_VALUE*>(value),
                       ASN1_ITEM_ptr(X509V3_EXT_get_nid(type)->it));
        return false;
    });
}

bool hasUnreadableExtension(const VELX509Certificate& certificate) {
    X509* x509 = certificate.x509();
    return certificate.parts().extensions.hasUnreadable ||
           (x509 != nullptr && (X509_get_extension_flags(x509) & EXFLAG_INVALID) != 0 &&
            isUnreadableForOpenSSL(x509));
}

bool isAuthority(const CertificateParts& parts) {
    const auto& constraints = parts.extensions.basicConstraints;
    return constraints && constraints->isAuthority;
}

bool hasSubject(const CertificateParts& parts) {
    const auto subject = der::Reader(parts.subject).next();
    const bool isEmpty = !subject || subject->content.empty();
    return !isEmpty || (parts.extensions.hasCriticalAlternativeNames && !isAuthority(parts));
}

/// Finds the failures of one chain.
class PolicyChecks {
public:
    PolicyChecks(const CertificateChain& chain, VELMoment moment)
        : _chain(chain), _moment(moment), _last(chain.certificates.size() - 1) {}

    std::vector<ChainFailure> run() {
        for (std::size_t position = 0; position <= _last; ++position) {
            checkCertificate(position);
            if (position > 0) {
                checkIssuer(position);
            }
        }
        if (!_chain.isAnchored) {
            const auto& last = *_chain.certificates.back();
            const bool isRoot = last.isSelfIssued() && isSignedBy(last, last);
            fail(isRoot ? ChainCheck::anchorTrusted : ChainCheck::missingIntermediate, _last);
        }
        return std::move(_failures);
    }

private:
    void fail(ChainCheck check, std::size_t position) { _failures.push_back({check, position}); }

    void require(bool isMet, ChainCheck check, std::size_t position) {
        if (!isMet) {
            fail(check, position);
        }
    }

    [[nodiscard]] bool isAnchor(std::size_t position) const {
        return _chain.isAnchored && position == _last;
    }

    void checkCertificate(std::size_t position) {
        const VELX509Certificate& certificate = *_chain.certificates[position];
        const CertificateExtensions& extensions = certificate.parts().extensions;
        if (certificate.x509() == nullptr) {
            fail(ChainCheck::anchorTrusted, position);
        } else {
            require(hasStrongKey(certificate.x509()), ChainCheck::keySize, position);
            require(!hasBrokenSignature(certificate), ChainCheck::signatureAlgorithm, position);
        }
        require(isAnchor(position) || !extensions.hasUnknownCritical, ChainCheck::criticalExtension,
                position);
        require(!extensions.hasDuplicate, ChainCheck::duplicateExtension, position);
        require(extensions.hasDuplicate || !hasUnreadableExtension(certificate),
                ChainCheck::unreadableExtension, position);
        require(hasSubject(certificate.parts()), ChainCheck::nonEmptySubject, position);
        require(certificate.isValidAt(_moment), ChainCheck::validity, position);
    }

    void checkIssuer(std::size_t position) {
        const CertificateParts& issuer = _chain.certificates[position]->parts();
        const CertificateParts& child = _chain.certificates[position - 1]->parts();
        checkBasicConstraints(issuer, position);
        const auto& usage = issuer.extensions.keyUsage;
        require(!usage || (*usage >> keyCertSign & 1U) != 0, ChainCheck::keyUsage, position);
        const std::string_view wanted = child.extensions.authorityKeyIdentifier;
        const std::string_view found = issuer.extensions.subjectKeyIdentifier;
        require(wanted.empty() || found.empty() || wanted == found, ChainCheck::identifierLinkage,
                position - 1);
        checkNamesBelow(position);
    }

    void checkBasicConstraints(const CertificateParts& issuer, std::size_t position) {
        if (issuer.version < 3) {
            // Such an intermediate is as good as an anchor of its time.
            const bool isOldAnchor =
                _chain.isAnchored && _chain.certificates.back()->parts().version < 3;
            require(isOldAnchor, ChainCheck::basicConstraints, position);
            return;
        }
        const auto& constraints = issuer.extensions.basicConstraints;
        if (!constraints) {
            fail(ChainCheck::basicConstraints, position);
            return;
        }
        require(constraints->isAuthority, ChainCheck::basicConstraintsAuthority, position);
        require(!constraints->pathLength ||
                    intermediatesBelow(position) <= std::int64_t{*constraints->pathLength},
                ChainCheck::pathLength, position);
    }

    /// Self-issued intermediates may have any name.
    void checkNamesBelow(std::size_t position) {
        const auto& subtrees = _chain.certificates[position]->parts().extensions.nameSubtrees;
        if (!subtrees) {
            return;
        }
        require(isAnchor(position) || !subtrees->isCritical || areSubtreesSupported(*subtrees),
                ChainCheck::nameConstraints, position);
        for (std::size_t below = 0; below < position; ++below) {
            const VELX509Certificate& certificate = *_chain.certificates[below];
            require((below > 0 && certificate.isSelfIssued()) ||
                        allowsNames(*subtrees, certificate.parts()),
                    ChainCheck::nameConstraints, below);
        }
    }

    /// Self-issued ones, as of a renewal, do not count.
    [[nodiscard]] std::int64_t intermediatesBelow(std::size_t position) const {
        const auto first = _chain.certificates.begin() + 1;
        return std::count_if(first, first + static_cast<std::ptrdiff_t>(position) - 1,
                             [](const auto& certificate) { return !certificate->isSelfIssued(); });
    }

    const CertificateChain& _chain;
    const VELMoment _moment;
    const std::size_t _last;
    std::vector<ChainFailure> _failures;
};

ChainCheck checkOfError(int error) {
    switch (error) {
    case X509_V_ERR_PERMITTED_VIOLATION:
    case X509_V_ERR_EXCLUDED_VIOLATION:
    case X509_V_ERR_SUBTREE_MINMAX:
    case X509_V_ERR_UNSUPPORTED_CONSTRAINT_SYNTAX:
    case X509_V_ERR_UNSUPPORTED_NAME_SYNTAX:
        return ChainCheck::nameConstraints;
    case X509_V_ERR_INVALID_POLICY_EXTENSION:
    case X509_V_ERR_NO_EXPLICIT_POLICY:
        return ChainCheck::policyConstraints;
    default:
        return ChainCheck::anchorTrusted;
    }
}

/// Issuing is decided by our own names and nothing else, so that OpenSSL builds this chain.
int isIssuedInChain(X509_STORE_CTX* context, X509* child, X509* issuer) {
    const auto& chain = *static_cast<const CertificateChain*>(X509_STORE_CTX_get_app_data(context));
    for (std::size_t position = 1; position < chain.certificates.size(); ++position) {
        if (chain.certificates[position - 1]->x509() == child) {
            return chain.certificates[position]->x509() == issuer ? 1 : 0;
        }
    }
    return 0;
}

/// Lets pass what `PolicyChecks` has judged, with which OpenSSL agrees or is stricter than the
/// platform.
int judgedBefore(int isFine, X509_STORE_CTX* context) {
    switch (X509_STORE_CTX_get_error(context)) {
    case X509_V_ERR_INVALID_CA:
    case X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION:
    case X509_V_ERR_UNSUPPORTED_CONSTRAINT_TYPE:
        X509_STORE_CTX_set_error(context, X509_V_OK);
        return 1;
    default:
        return isFine;
    }
}

StoreContextHandle verification(const CertificateChain& chain, STACK_OF(X509) * intermediates,
                                X509_STORE* store) {
    auto context = made(StoreContextHandle(X509_STORE_CTX_new_ex(privateContext(), nullptr)));
    X509_STORE_set_check_issued(store, isIssuedInChain);
    requireSuccess(X509_STORE_add_cert(store, chain.certificates.back()->x509()));
    requireSuccess(X509_STORE_CTX_init(context.get(), store, chain.certificates.front()->x509(),
                                       intermediates));
    requireSuccess(
        X509_STORE_CTX_set_app_data(context.get(), const_cast<CertificateChain*>(&chain)));
    X509_STORE_CTX_set_flags(context.get(), X509_V_FLAG_PARTIAL_CHAIN | X509_V_FLAG_NO_CHECK_TIME |
                                                X509_V_FLAG_POLICY_CHECK);
    // Without this, a chain that requires some policy would have to end in one named here.
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context.get());
    requireSuccess(X509_VERIFY_PARAM_add0_policy(parameters, OBJ_nid2obj(NID_any_policy)));
    X509_STORE_CTX_set_verify_cb(context.get(), judgedBefore);
    return context;
}

} // namespace

bool outweighs(const ChainFailure& left, const ChainFailure& right) {
    const auto weight = [](const ChainFailure& failure) {
        return std::tuple(rowOf(failure.check).kind, failure.position, failure.check);
    };
    return weight(left) < weight(right);
}

std::optional<ChainFailure> policyFailure(const CertificateChain& chain, VELMoment moment) {
    const ErrorQueueScope errors;
    const std::vector<ChainFailure> failures = PolicyChecks(chain, moment).run();
    const auto first = std::min_element(failures.begin(), failures.end(), outweighs);
    return first == failures.end() ? std::nullopt : std::optional(*first);
}

std::vector<ChainCheck> anchorFailures(const CertificatePointer& anchor, VELMoment moment) {
    const ErrorQueueScope errors;
    std::vector<ChainFailure> failures = PolicyChecks({{anchor, anchor}, true}, moment).run();
    std::erase_if(failures, [](const ChainFailure& failure) { return failure.position == 0; });
    std::sort(failures.begin(), failures.end(), outweighs);
    std::vector<ChainCheck> checks;
    for (const ChainFailure& failure : failures) {
        checks.push_back(failure.check);
    }
    return checks;
}

std::optional<ChainFailure> verifiedFailure(const CertificateChain& chain) {
    const auto isUndecoded = [](const auto& certificate) { return certificate->x509() == nullptr; };
    const auto undecoded =
        std::find_if(chain.certificates.begin(), chain.certificates.end(), isUndecoded);
    if (undecoded != chain.certificates.end()) {
        return ChainFailure{ChainCheck::anchorTrusted,
                            static_cast<std::size_t>(undecoded - chain.certificates.begin())};
    }
    const ErrorQueueScope errors;
    const auto store = made(StoreHandle(X509_STORE_new()));
    const auto intermediates = made(CertificateListHandle(sk_X509_new_null()));
    for (std::size_t position = 1; position + 1 < chain.certificates.size(); ++position) {
        if (sk_X509_push(intermediates.get(), chain.certificates[position]->x509()) == 0) {
            raiseFailure();
        }
    }
    const auto context = verification(chain, intermediates.get(), store.get());
    if (X509_verify_cert(context.get()) == 1) {
        return std::nullopt;
    }
    const auto depth =
        static_cast<std::size_t>(std::max(X509_STORE_CTX_get_error_depth(context.get()), 0));
    return ChainFailure{checkOfError(X509_STORE_CTX_get_error(context.get())),
                        std::min(depth, chain.certificates.size() - 1)};
}

bool isSignedBy(const VELX509Certificate& child, const VELX509Certificate& parent) {
    const ErrorQueueScope errors;
    if (child.x509() == nullptr || parent.x509() == nullptr) {
        return false;
    }
    EVP_PKEY* key = X509_get0_pubkey(parent.x509());
    if (key != nullptr && X509_verify(child.x509(), key) == 1) {
        return true;
    }
    int digest = NID_undef;
    const int algorithm = X509_get_signature_nid(child.x509());
    return OBJ_find_sigid_algs(algorithm, &digest, nullptr) == 1 &&
           (digest == NID_md2 || digest == NID_md4);
}

VELError errorOf(const ChainFailure& failure, const CertificateChain& chain) {
    const CheckRow& row = rowOf(failure.check);
    const auto summary = chain.certificates[failure.position]->subjectSummary();
    std::string text =
        summary ? "\u201C" + *summary + "\u201D" + descriptions[static_cast<std::size_t>(row.kind)]
                : security::textOfStatus(row.code);
    return VELError::withLocalizedDescription("NSOSStatusErrorDomain", integerOfStatus(row.code),
                                              std::move(text));
}

} // namespace vel::x509
