// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELDetachedSignature.h"
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELOpenSSL.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509_vfy.h>
#include <optional>
#include <unistd.h>

namespace vel {
namespace {

using namespace vel::x509;

constexpr int maximumCertificates = 16;
constexpr int minimumSecurityLevel = 2; // 112 bits: RSA of 2,048 bits, no SHA-1

SignatureRefusal refusal(std::string reason) {
    return {std::move(reason)};
}

SignedMessageHandle readMessage(std::string_view der) {
    if (der.size() > std::numeric_limits<int>::max()) {
        return nullptr;
    }
    // On failure, d2i frees what it was given and clears the pointer.
    CMS_ContentInfo* message =
        made(SignedMessageHandle(CMS_ContentInfo_new_ex(privateContext(), nullptr))).release();
    const auto* position = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = position + der.size();
    const bool isRead =
        d2i_CMS_ContentInfo(&message, &position, static_cast<long>(der.size())) != nullptr;
    SignedMessageHandle result(message);
    return isRead && position == end ? std::move(result) : nullptr;
}

bool isDetachedSignature(CMS_ContentInfo* message) {
    if (OBJ_obj2nid(CMS_get0_type(message)) != NID_pkcs7_signed) {
        return false;
    }
    return CMS_is_detached(message) == 1 &&
           OBJ_obj2nid(CMS_get0_eContentType(message)) == NID_pkcs7_data;
}

bool isStrongDigest(const X509_ALGOR* algorithm) {
    constexpr std::array strong = {NID_sha256,   NID_sha384,   NID_sha512,
                                   NID_sha3_256, NID_sha3_384, NID_sha3_512};
    const ASN1_OBJECT* type = nullptr;
    X509_ALGOR_get0(&type, nullptr, nullptr, algorithm);
    return std::ranges::find(strong, OBJ_obj2nid(type)) != strong.end();
}

OwnedCertificatesHandle certificatesOf(CMS_ContentInfo* message) {
    OwnedCertificatesHandle certificates(CMS_get1_certs(message));
    return certificates ? std::move(certificates)
                        : made(OwnedCertificatesHandle(sk_X509_new_null()));
}

std::string derOf(X509* certificate) {
    unsigned char* bytes = nullptr;
    const int length = i2d_X509(certificate, &bytes);
    if (length <= 0) {
        raiseFailure();
    }
    const MemoryHandle<unsigned char> owned(bytes);
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

/// What keeps a certificate from being read as an identity's would be; nothing when it can be.
std::optional<std::string> formProblem(X509* certificate) {
    const std::string der = derOf(certificate);
    const auto parts = certificateParts(der);
    if (!parts) {
        return "is malformed";
    }
    if (parts->extensions.hasDuplicate) {
        return "has an extension twice";
    }
    // Without a purpose, OpenSSL only looks whether it can decode the extensions.
    if (parts->extensions.hasUnreadable || X509_check_purpose(certificate, -1, 0) != 1) {
        return "has an extension that cannot be read";
    }
    if (parts->extensions.hasUnknownCritical) {
        return "has a critical extension that is not known";
    }
    return std::nullopt;
}

/// Nothing when one of the anchors is, or leads to, the signer; else why not.
std::optional<std::string> chainProblem(X509* signer, STACK_OF(X509) * pool,
                                        const std::vector<std::string>& anchors) {
    const auto store = made(StoreHandle(X509_STORE_new()));
    const auto context = made(StoreContextHandle(X509_STORE_CTX_new_ex(privateContext(), nullptr)));
    for (const auto& der : anchors) {
        const CertificateHandle anchor = decodedCertificate(der);
        if (!anchor || X509_STORE_add_cert(store.get(), anchor.get()) != 1) {
            return "an anchor is no certificate";
        }
    }
    requireSuccess(X509_STORE_CTX_init(context.get(), store.get(), signer, pool));
    X509_VERIFY_PARAM* parameters = X509_STORE_CTX_get0_param(context.get());
    requireSuccess(X509_VERIFY_PARAM_set_flags(parameters, X509_V_FLAG_PARTIAL_CHAIN));
    requireSuccess(X509_VERIFY_PARAM_set_purpose(parameters, X509_PURPOSE_ANY));
    X509_VERIFY_PARAM_set_auth_level(parameters, minimumSecurityLevel);
    if (X509_verify_cert(context.get()) != 1) {
        return X509_verify_cert_error_string(X509_STORE_CTX_get_error(context.get()));
    }
    const STACK_OF(X509)* chain = X509_STORE_CTX_get0_chain(context.get());
    for (int i = 1; i < sk_X509_num(chain); ++i) {
        if (const auto problem = formProblem(sk_X509_value(chain, i))) {
            return "a certificate above it " + *problem;
        }
    }
    return std::nullopt;
}

} // namespace

std::variant<SignerCertificate, SignatureRefusal>
verifyDetachedSignature(std::string_view signature, int content,
                        const std::vector<std::string>* anchors) {
    const ErrorQueueScope errors;
    const SignedMessageHandle message = readMessage(signature);
    if (!message || !isDetachedSignature(message.get())) {
        return refusal("the signature is no detached CMS signature in DER");
    }
    // The stack belongs to the message.
    STACK_OF(CMS_SignerInfo)* signers = CMS_get0_SignerInfos(message.get());
    if (sk_CMS_SignerInfo_num(signers) != 1) {
        return refusal("the signature has not exactly one signer");
    }
    CMS_SignerInfo* signer = sk_CMS_SignerInfo_value(signers, 0);
    const OwnedCertificatesHandle pool = certificatesOf(message.get());
    if (sk_X509_num(pool.get()) > maximumCertificates) {
        return refusal("the signature carries too many certificates");
    }
    X509_ALGOR* digest = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, nullptr, &digest, nullptr);
    if (!isStrongDigest(digest)) {
        return refusal("the signature's digest is too weak");
    }
    if (::lseek(content, 0, SEEK_SET) != 0) {
        return refusal("the content cannot be read");
    }
    const auto bytes = made(StreamHandle(BIO_new_fd(content, BIO_NOCLOSE)));
    if (CMS_verify(message.get(), nullptr, nullptr, bytes.get(), nullptr,
                   CMS_BINARY | CMS_NO_SIGNER_CERT_VERIFY) != 1) {
        return refusal("the signature does not fit the content");
    }
    X509* certificate = nullptr;
    CMS_SignerInfo_get0_algs(signer, nullptr, &certificate, nullptr, nullptr);
    if (certificate == nullptr) {
        return refusal("the signature carries no certificate of its signer");
    }
    if (const auto problem = formProblem(certificate)) {
        return refusal("the signer's certificate " + *problem);
    }
    if (anchors != nullptr) {
        const auto problem = chainProblem(certificate, pool.get(), *anchors);
        if (problem) {
            return refusal("the signer is not trusted: " + *problem);
        }
    }
    return derOf(certificate);
}

std::vector<std::string> certificatesInFile(std::string_view file) {
    if (decodedCertificate(file)) {
        return {std::string(file)};
    }
    if (file.size() > std::numeric_limits<int>::max()) {
        return {};
    }
    const ErrorQueueScope errors;
    const auto stream =
        made(StreamHandle(BIO_new_mem_buf(file.data(), static_cast<int>(file.size()))));
    std::vector<std::string> certificates;
    while (true) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long length = 0;
        if (PEM_read_bio(stream.get(), &name, &header, &data, &length) != 1) {
            break;
        }
        const MemoryHandle<char> ownedName(name);
        const MemoryHandle<char> ownedHeader(header);
        const MemoryHandle<unsigned char> ownedData(data);
        std::string der(reinterpret_cast<const char*>(data), static_cast<std::size_t>(length));
        if (std::string_view(name) != PEM_STRING_X509 || !decodedCertificate(der)) {
            return {};
        }
        certificates.push_back(std::move(der));
    }
    const bool isAtEnd = ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
    return isAtEnd ? certificates : std::vector<std::string>();
}

} // namespace vel
