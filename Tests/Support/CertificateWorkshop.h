// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Tests/Support/TemporaryFolder.h"

#include <string>
#include <vector>

/// What a test wants a certificate to be.
struct CertificateOrder {
    std::string name;            ///< of its files; another one's key and name are found by it
    std::string subject = {};    ///< as "/CN=a/O=b"; "/CN=" and the name when empty
    std::string issuer = {};     ///< the name of an earlier order; self-signed when empty
    std::string extensions = {}; ///< lines of an OpenSSL section; without any it is version 1
    std::string notBefore = "20240101000000Z";
    std::string notAfter = "20340101000000Z";
    std::string key = "EC -pkeyopt ec_paramgen_curve:P-256"; ///< arguments of "openssl genpkey"
    std::string keyOf = {}; ///< the name of an earlier order whose key it shares
    std::string digest = "sha256";
    std::string signing = {};            ///< further arguments of "openssl ca"
    std::string stringMask = "utf8only"; ///< which types of strings its subject may have
};

inline const std::string authorityExtensions =
    "basicConstraints=critical,CA:true\nkeyUsage=keyCertSign,cRLSign\n";
inline const std::string leafExtensions = "basicConstraints=CA:false\n";

/// Makes keys and certificates with the openssl command in a temporary folder.
class CertificateWorkshop {
public:
    CertificateWorkshop();

    /// Makes the certificate and answers its DER.
    std::string make(const CertificateOrder& order);

    /// A version 3 authority. Self-signed without an issuer.
    std::string makeAuthority(const std::string& name, const std::string& issuer = {});
    std::string makeLeaf(const std::string& name, const std::string& issuer);

    /// What `openssl verify` says of the certificate at the moment (seconds since 1970).
    [[nodiscard]] bool opensslTrusts(const std::string& leaf, const std::string& anchor,
                                     const std::vector<std::string>& intermediates,
                                     long moment) const;

    [[nodiscard]] std::string certificateFile(const std::string& name) const;
    [[nodiscard]] std::string keyFile(const std::string& name) const;

    /// The DER between the armour lines of a PEM file.
    static std::string derOfFile(const std::string& path);

private:
    [[nodiscard]] std::string path(const std::string& file) const;

    TemporaryFolder _folder;
};
