// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELOpenSSL.h"

#include <limits>
#include <new>
#include <stdexcept>
#include <utility>

namespace vel::x509 {

namespace {

/// False once OpenSSL has cleaned up: then it makes nothing any more.
bool isOpenSSLRunning() {
    const ErrorQueueScope errors;
    return OPENSSL_init_crypto(0, nullptr) == 1;
}

} // namespace

void raiseFailure() {
    if (!isOpenSSLRunning()) {
        throw std::runtime_error(
            "certificates can no longer be read: OpenSSL has cleaned up at the end of the process");
    }
    throw std::bad_alloc();
}

OSSL_LIB_CTX* privateContext() {
    if (!isOpenSSLRunning()) {
        raiseFailure();
    }
    // Never freed: certificates that the host still holds at exit use it.
    static OSSL_LIB_CTX* const context = made(ContextHandle(OSSL_LIB_CTX_new())).release();
    return context;
}

void forgoConfiguration() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
}

CertificateHandle decodedCertificate(std::string_view der) {
    const ErrorQueueScope errors;
    if (der.size() > static_cast<std::size_t>(std::numeric_limits<long>::max())) {
        return nullptr;
    }
    // On failure, d2i frees what it was given and clears the pointer.
    X509* certificate = made(CertificateHandle(X509_new_ex(privateContext(), nullptr))).release();
    const auto* position = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* const end = position + der.size();
    const bool isRead = d2i_X509(&certificate, &position, static_cast<long>(der.size())) != nullptr;
    CertificateHandle decoded(certificate);
    return isRead && position == end ? std::move(decoded) : nullptr;
}

} // namespace vel::x509
