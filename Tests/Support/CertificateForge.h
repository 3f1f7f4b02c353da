// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <openssl/evp.h>
#include <string>
#include <string_view>

/// A key that signs certificates, over SHA-256 unless it is told otherwise.
class SigningKey {
public:
    static SigningKey ellipticCurve();
    /// RSA with probabilistic signatures over MD5.
    static SigningKey brokenRSA();

    [[nodiscard]] std::string publicKey() const;                              ///< in DER
    [[nodiscard]] const std::string& algorithm() const { return _algorithm; } ///< in DER
    [[nodiscard]] std::string sign(std::string_view bytes) const;

private:
    SigningKey(EVP_PKEY* key, const EVP_MD* digest, std::string algorithm);

    std::shared_ptr<EVP_PKEY> _key;
    const EVP_MD* _digest;
    std::string _algorithm;
};

/// A certificate in its parts, each in DER with tag and length, so that a test can give any of them
/// any form.
struct CertificateDraft {
    std::string version; ///< version 3
    std::string serialNumber;
    std::string algorithm; ///< the signer's when empty
    std::string issuer;
    std::string validity; ///< 2024 to 2034
    std::string subject;
    std::string publicKey;
    std::string identifiers; ///< between key and extensions; empty
    std::string extensions;  ///< one after another; no list of them when empty

    CertificateDraft(const std::string& subjectName, const std::string& issuerName,
                     const SigningKey& key);

    [[nodiscard]] std::string signedPart(const SigningKey& signer) const;

    /// The certificate, signed.
    [[nodiscard]] std::string madeBy(const SigningKey& signer) const;
};

/// A certificate round a signed part of any form.
std::string certificateAround(const std::string& signedPart, const SigningKey& signer);

/// A name with one common name in UTF-8.
std::string nameOf(const std::string& commonName);

/// An object identifier in dots as DER.
std::string objectIdentifier(const std::string& dots);

/// An extension with the DER `value`. `critical` is the boolean as it is written.
std::string extensionOf(const std::string& type, const std::string& value,
                        const std::string& critical = {});

/// The bytes that hexadecimal digits stand for; spaces do not count.
std::string bytesOfHexadecimal(std::string_view digits);

inline const std::string asCritical = "\x01\x01\xFF";
