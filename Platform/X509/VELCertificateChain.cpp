// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateChain.h"

#include "Platform/X509/VELSecurityStatus.h"
#include "vel_device_trust/VELValue.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <tuple>
#include <utility>

namespace vel::x509 {
namespace {

constexpr int minimumRSABits = 1024;
constexpr long version3 = 2; // as it is encoded

/// Kinds of failures, the weightiest first.
enum class Kind : std::uint8_t { keySize, algorithm, compliance, trust, usage, expired };

struct CheckRow {
    Kind kind;
    security::Status code;
};

/// Ordered as `ChainCheck`.
constexpr CheckRow rows[] = {
    {Kind::keySize, security::unsupportedKeySize},
    {Kind::algorithm, security::invalidDigestAlgorithm},
    {Kind::compliance, security::noBasicConstraints},
    {Kind::compliance, security::noBasicConstraintsAuthority},
    {Kind::compliance, security::pathLengthExceeded},
    {Kind::compliance, security::invalidIdentifierLinkage},
    {Kind::compliance, security::unknownCriticalExtension},
    {Kind::compliance, security::unknownCertificateExtension},
    {Kind::compliance, security::certificateDuplicateExtension},
    {Kind::compliance, security::invalidSubjectName},
    {Kind::compliance, security::invalidName},
    {Kind::compliance, security::invalidPolicyIdentifiers},
    {Kind::trust, security::notTrusted},
    {Kind::trust, security::createChainFailed},
    {Kind::usage, security::invalidKeyUsageForPolicy},
    {Kind::expired, security::certificateExpired},
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

/// The curves that the platform has. Parameters that spell out a curve name none.
bool hasKnownCurve(const EVP_PKEY* key) {
    constexpr std::string_view known[] = {"prime192v1", "secp224r1", "prime256v1", "secp384r1",
                                          "secp521r1"};
    char name[32] = {};
    return EVP_PKEY_get_group_name(key, name, sizeof name, nullptr) == 1 &&
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

/// Beside what OpenSSL does not know: what it knows of address blocks counts for nothing here.
bool hasUnknownCriticalExtension(X509* certificate) {
    if ((X509_get_extension_flags(certificate) & EXFLAG_CRITICAL) != 0) {
        return true;
    }
    for (const int type : {NID_sbgp_ipAddrBlock, NID_sbgp_autonomousSysNum}) {
        const int position = X509_get_ext_by_NID(certificate, type, -1);
        const X509_EXTENSION* extension = X509_get_ext(certificate, position);
        if (extension != nullptr && X509_EXTENSION_get_critical(extension) != 0) {
            return true;
        }
    }
    return false;
}

bool isAuthority(X509* certificate) {
    return (X509_get_extension_flags(certificate) & EXFLAG_CA) != 0;
}

bool hasSubject(const VELX509Certificate& certificate) {
    if (X509_NAME_entry_count(X509_get_subject_name(certificate.x509())) > 0) {
        return true;
    }
    const int position = X509_get_ext_by_NID(certificate.x509(), NID_subject_alt_name, -1);
    const X509_EXTENSION* names = X509_get_ext(certificate.x509(), position);
    return names != nullptr && X509_EXTENSION_get_critical(names) != 0 &&
           !isAuthority(certificate.x509());
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
        if (certificate.x509() == nullptr) {
            fail(ChainCheck::anchorTrusted, position);
            return;
        }
        require(hasStrongKey(certificate.x509()), ChainCheck::keySize, position);
        require(!hasBrokenSignature(certificate), ChainCheck::signatureAlgorithm, position);
        require(isAnchor(position) || !hasUnknownCriticalExtension(certificate.x509()),
                ChainCheck::criticalExtension, position);
        require(!certificate.hasDuplicateExtension(), ChainCheck::duplicateExtension, position);
        require(certificate.hasDuplicateExtension() || !certificate.hasUnreadableExtension(),
                ChainCheck::unreadableExtension, position);
        require(hasSubject(certificate), ChainCheck::nonEmptySubject, position);
        require(certificate.isValidAt(_moment), ChainCheck::validity, position);
    }

    void checkIssuer(std::size_t position) {
        X509* issuer = _chain.certificates[position]->x509();
        X509* child = _chain.certificates[position - 1]->x509();
        if (issuer == nullptr || child == nullptr) {
            return;
        }
        checkBasicConstraints(issuer, position);
        const std::uint32_t usage = X509_get_key_usage(issuer); // all bits when it is absent
        require((usage & KU_KEY_CERT_SIGN) != 0, ChainCheck::keyUsage, position);
        const long pathLength = X509_get_pathlen(issuer); // negative when it is absent
        require(pathLength < 0 || intermediatesBelow(position) <= pathLength,
                ChainCheck::pathLength, position);
        const auto* wanted = X509_get0_authority_key_id(child);
        const auto* found = X509_get0_subject_key_id(issuer);
        require(wanted == nullptr || found == nullptr || ASN1_OCTET_STRING_cmp(wanted, found) == 0,
                ChainCheck::identifierLinkage, position - 1);
    }

    void checkBasicConstraints(X509* issuer, std::size_t position) {
        if (X509_get_version(issuer) < version3) {
            // Such an intermediate is as good as an anchor of its time.
            const bool isOldAnchor =
                _chain.isAnchored &&
                X509_get_version(_chain.certificates.back()->x509()) < version3;
            require(isOldAnchor, ChainCheck::basicConstraints, position);
            return;
        }
        if (X509_get_ext_by_NID(issuer, NID_basic_constraints, -1) < 0) {
            fail(ChainCheck::basicConstraints, position);
        } else {
            require(isAuthority(issuer), ChainCheck::basicConstraintsAuthority, position);
        }
    }

    /// Self-issued ones, as of a renewal, do not count.
    [[nodiscard]] long intermediatesBelow(std::size_t position) const {
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
    case X509_V_ERR_UNSUPPORTED_CONSTRAINT_TYPE:
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

/// Lets pass what the platform judges otherwise, and what `PolicyChecks` has judged.
int judgedOtherwise(int isFine, X509_STORE_CTX* context) {
    const int error = X509_STORE_CTX_get_error(context);
    if (error == X509_V_ERR_INVALID_CA || error == X509_V_ERR_UNHANDLED_CRITICAL_EXTENSION) {
        X509_STORE_CTX_set_error(context, X509_V_OK);
        return 1;
    }
    return isFine;
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
    X509_STORE_CTX_set_verify_cb(context.get(), judgedOtherwise);
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
    const int depth = X509_STORE_CTX_get_error_depth(context.get());
    const auto last = static_cast<int>(chain.certificates.size()) - 1;
    return ChainFailure{checkOfError(X509_STORE_CTX_get_error(context.get())),
                        static_cast<std::size_t>(std::clamp(depth, 0, last))};
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
    return VELError::withLocalizedDescription("NSOSStatusErrorDomain", row.code, std::move(text));
}

} // namespace vel::x509
