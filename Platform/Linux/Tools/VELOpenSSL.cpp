// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/Tools/VELOpenSSL.h"

#include <limits>

namespace vel {

LibraryContext privateLibraryContext() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
    return LibraryContext(OSSL_LIB_CTX_new());
}

Certificate readCertificate(OSSL_LIB_CTX* context, std::string_view der) {
    if (der.size() > static_cast<std::size_t>(std::numeric_limits<long>::max())) {
        return nullptr;
    }
    X509* certificate = X509_new_ex(context, nullptr);
    if (certificate == nullptr) {
        return nullptr;
    }
    const auto* position = reinterpret_cast<const unsigned char*>(der.data());
    const unsigned char* end = position + der.size();
    // On failure, d2i frees what it was given and clears the pointer.
    const bool isRead = d2i_X509(&certificate, &position, static_cast<long>(der.size())) != nullptr;
    Certificate result(certificate);
    return isRead && position == end ? std::move(result) : nullptr;
}

} // namespace vel
