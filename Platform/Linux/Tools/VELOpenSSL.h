// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/crypto.h>
#include <openssl/x509.h>
#include <string_view>

/// OpenSSL's objects, released when they leave scope.
namespace vel {

template <auto release> struct Release {
    template <typename Object> void operator()(Object* object) const { release(object); }
};

using Certificate = std::unique_ptr<X509, Release<&X509_free>>;
using CertificateStack =
    std::unique_ptr<STACK_OF(X509),
                    decltype([](STACK_OF(X509) * stack) { sk_X509_pop_free(stack, X509_free); })>;
using CertificateStore = std::unique_ptr<X509_STORE, Release<&X509_STORE_free>>;
using StoreContext = std::unique_ptr<X509_STORE_CTX, Release<&X509_STORE_CTX_free>>;
using SignedMessage = std::unique_ptr<CMS_ContentInfo, Release<&CMS_ContentInfo_free>>;
using ByteStream = std::unique_ptr<BIO, Release<&BIO_free_all>>;

/// The context of OpenSSL that everything here uses: its built-in algorithms alone, neither a
/// configuration file nor a variable that names one has a say. Made on first use, and kept to the
/// program's end. Throws when there is no memory.
OSSL_LIB_CTX* libraryContext();

/// The certificate that `der` is, and nothing beside it; null when it is none.
Certificate readCertificate(std::string_view der);

} // namespace vel
