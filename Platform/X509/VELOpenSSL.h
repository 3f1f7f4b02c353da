// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <openssl/bio.h>
#include <openssl/cms.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <string_view>

/// OpenSSL's objects, released when they leave scope, and manners towards a host that uses OpenSSL
/// as well.
namespace vel::x509 {

template <auto release> struct Release {
    template <typename Object> void operator()(Object* object) const { release(object); }
};

using ContextHandle = std::unique_ptr<OSSL_LIB_CTX, Release<&OSSL_LIB_CTX_free>>;
using DigestHandle = std::unique_ptr<EVP_MD, Release<&EVP_MD_free>>;
using CertificateHandle = std::unique_ptr<X509, Release<&X509_free>>;
using StoreHandle = std::unique_ptr<X509_STORE, Release<&X509_STORE_free>>;
using StoreContextHandle = std::unique_ptr<X509_STORE_CTX, Release<&X509_STORE_CTX_free>>;
using GeneralNamesHandle = std::unique_ptr<GENERAL_NAMES, Release<&GENERAL_NAMES_free>>;
using SignedMessageHandle = std::unique_ptr<CMS_ContentInfo, Release<&CMS_ContentInfo_free>>;
using StreamHandle = std::unique_ptr<BIO, Release<&BIO_free_all>>;
/// A list that does not own what is in it.
using CertificateListHandle =
    std::unique_ptr<STACK_OF(X509), decltype([](STACK_OF(X509) * list) { sk_X509_free(list); })>;
/// A list that does.
using OwnedCertificatesHandle =
    std::unique_ptr<STACK_OF(X509),
                    decltype([](STACK_OF(X509) * list) { sk_X509_pop_free(list, X509_free); })>;

struct ReleaseMemory {
    void operator()(void* memory) const { OPENSSL_free(memory); }
};
/// What OpenSSL has allocated for its caller.
template <typename Content> using MemoryHandle = std::unique_ptr<Content, ReleaseMemory>;

/// Throws `std::runtime_error` with a text for people when OpenSSL has cleaned up, which it does at
/// the end of the process, and `std::bad_alloc` otherwise: for a call of OpenSSL that failed.
[[noreturn]] void raiseFailure();

/// A context with the built-in algorithms alone: neither a configuration file nor a variable that
/// names one has a say. (OpenSSL's own first use in a process reads its configuration all the same,
/// for the default context. To forbid that would change OpenSSL for the host as well.) Made on
/// first use, kept as long as the process. Throws as `raiseFailure` does.
OSSL_LIB_CTX* privateContext();

/// For a program of our own, at its start: nothing reads OpenSSL's configuration.
void forgoConfiguration();

/// While it is in scope, what OpenSSL adds to the thread's queue of errors is removed again; what
/// the host left there stays.
class ErrorQueueScope {
public:
    ErrorQueueScope() { ERR_set_mark(); }
    ~ErrorQueueScope() { ERR_pop_to_mark(); }
    ErrorQueueScope(const ErrorQueueScope&) = delete;
    ErrorQueueScope& operator=(const ErrorQueueScope&) = delete;
};

/// The handle; throws as `raiseFailure` does when it is null.
template <typename Handle> Handle made(Handle handle) {
    if (handle == nullptr) {
        raiseFailure();
    }
    return handle;
}

/// Throws as `raiseFailure` does unless `result` is 1, OpenSSL's success.
inline void requireSuccess(int result) {
    if (result != 1) {
        raiseFailure();
    }
}

/// The certificate that `der` is, and nothing beside it; null when OpenSSL cannot decode it.
CertificateHandle decodedCertificate(std::string_view der);

} // namespace vel::x509
