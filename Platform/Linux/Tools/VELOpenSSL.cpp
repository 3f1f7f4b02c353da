// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/Tools/VELOpenSSL.h"

#include <limits>
#include <new>
#include <openssl/err.h>

namespace vel {

OSSL_LIB_CTX* libraryContext() {
    static OSSL_LIB_CTX* const context = [] {
        OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
        OSSL_LIB_CTX* made = OSSL_LIB_CTX_new();
        return made != nullptr ? made : throw std::bad_alloc();
    }();
    return context;
}

Certificate readCertificate(std::string_view der) {
    if (der.size() > static_cast<std::size_t>(std::numeric_limits<long>::max())) {
        return nullptr;
    }
    X509* certificate = X509_new_ex(libraryContext(), nullptr);
    if (certificate == nullptr) {
        return nullptr;
    }
    const auto* position = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = position + der.size();
    // On failure, d2i frees what it was given and clears the pointer.
    const bool isRead = d2i_X509(&certificate, &position, static_cast<long>(der.size())) != nullptr;
    Certificate result(certificate);
    ERR_clear_error();
    return isRead && position == end ? std::move(result) : nullptr;
}

} // namespace vel
