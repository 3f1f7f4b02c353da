// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/CertificateForge.h"

#include "Platform/X509/VELDERReader.h"

#include <openssl/ec.h>
#include <openssl/objects.h>
#include <openssl/rsa.h>
#include <openssl/x509.h>
#include <stdexcept>
#include <utility>

namespace {

namespace der = vel::der;

void require(bool isMet) {
    if (!isMet) {
        throw std::runtime_error("OpenSSL made no key or signature");
    }
}

std::string timeOf(const std::string& text) {
    return der::element(der::utcTime, text);
}

} // namespace

SigningKey::SigningKey(EVP_PKEY* key, const EVP_MD* digest, std::string algorithm)
    : _key(key, EVP_PKEY_free), _digest(digest), _algorithm(std::move(algorithm)) {
    require(key != nullptr);
}

SigningKey SigningKey::ellipticCurve() {
    return {EVP_EC_gen("P-256"), EVP_sha256(),
            der::element(der::sequence, objectIdentifier("1.2.840.10045.4.3.2"))};
}

SigningKey SigningKey::brokenRSA() {
    const std::string digest =
        der::element(der::sequence, objectIdentifier("1.2.840.113549.2.5") + "\x05" + '\0');
    const std::string mask =
        der::element(der::sequence, objectIdentifier("1.2.840.113549.1.1.8") + digest);
    const std::string parameters = der::element(
        der::sequence, der::element(der::context(0), digest) + der::element(der::context(1), mask) +
                           der::element(der::context(2), "\x02\x01\x10"));
    return {EVP_RSA_gen(1024), EVP_md5(),
            der::element(der::sequence, objectIdentifier("1.2.840.113549.1.1.10") + parameters)};
}

std::string SigningKey::publicKey() const {
    unsigned char* bytes = nullptr;
    const int length = i2d_PUBKEY(_key.get(), &bytes);
    require(length > 0);
    std::string key(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
    OPENSSL_free(bytes);
    return key;
}

std::string SigningKey::sign(std::string_view bytes) const {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          EVP_MD_CTX_free);
    EVP_PKEY_CTX* keyContext = nullptr;
    require(EVP_DigestSignInit(context.get(), &keyContext, _digest, nullptr, _key.get()) == 1);
    if (EVP_PKEY_get_base_id(_key.get()) == EVP_PKEY_RSA) {
        require(EVP_PKEY_CTX_set_rsa_padding(keyContext, RSA_PKCS1_PSS_PADDING) == 1 &&
                EVP_PKEY_CTX_set_rsa_pss_saltlen(keyContext, 16) == 1);
    }
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    std::size_t length = 0;
    require(EVP_DigestSign(context.get(), nullptr, &length, data, bytes.size()) == 1);
    std::string signature(length, '\0');
    require(EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()),
                           &length, data, bytes.size()) == 1);
    signature.resize(length);
    return signature;
}

CertificateDraft::CertificateDraft(const std::string& subjectName, const std::string& issuerName,
                                   const SigningKey& key)
    : version(der::element(der::context(0), "\x02\x01\x02")), serialNumber("\x02\x01\x07"),
      issuer(nameOf(issuerName)),
      validity(der::element(der::sequence, timeOf("240101000000Z") + timeOf("340101000000Z"))),
      subject(nameOf(subjectName)), publicKey(key.publicKey()) {}

std::string CertificateDraft::signedPart(const SigningKey& signer) const {
    const std::string list =
        extensions.empty() ? std::string()
                           : der::element(der::context(3), der::element(der::sequence, extensions));
    return der::element(der::sequence, version + serialNumber +
                                           (algorithm.empty() ? signer.algorithm() : algorithm) +
                                           issuer + validity + subject + publicKey + identifiers +
                                           list);
}

std::string CertificateDraft::madeBy(const SigningKey& signer) const {
    return certificateAround(signedPart(signer), signer);
}

std::string certificateAround(const std::string& signedPart, const SigningKey& signer) {
    const std::string signature = std::string(1, '\0') + signer.sign(signedPart);
    return der::element(der::sequence,
                        signedPart + signer.algorithm() + der::element(der::bitString, signature));
}

std::string nameOf(const std::string& commonName) {
    return der::element(
        der::sequence,
        der::element(der::set,
                     der::element(der::sequence, objectIdentifier("2.5.4.3") +
                                                     der::element(der::utf8String, commonName))));
}

std::string objectIdentifier(const std::string& dots) {
    const std::unique_ptr<ASN1_OBJECT, decltype(&ASN1_OBJECT_free)> object(
        OBJ_txt2obj(dots.c_str(), 1), ASN1_OBJECT_free);
    require(object != nullptr);
    return der::element(
        der::objectIdentifier,
        {reinterpret_cast<const char*>(OBJ_get0_data(object.get())), OBJ_length(object.get())});
}

std::string extensionOf(const std::string& type, const std::string& value,
                        const std::string& isCritical) {
    return der::element(der::sequence, objectIdentifier(type) + isCritical +
                                           der::element(der::octetString, value));
}

std::string bytesOfHexadecimal(std::string_view digits) {
    std::string text;
    for (const char digit : digits) {
        if (digit != ' ') {
            text += digit;
        }
    }
    std::string bytes;
    for (std::size_t index = 0; index < text.size(); index += 2) {
        bytes += static_cast<char>(std::stoi(text.substr(index, 2), nullptr, 16));
    }
    return bytes;
}
