// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELSHA1.h"

#include "Platform/X509/VELOpenSSL.h"

#include <cstddef>

std::string vel::x509::sha1(std::string_view bytes) {
    // Never freed, as the context it belongs to.
    OSSL_LIB_CTX* const context = privateContext();
    static EVP_MD* const algorithm =
        made(DigestHandle(EVP_MD_fetch(context, "SHA1", nullptr))).release();
    const ErrorQueueScope errors;
    std::string digest(static_cast<std::size_t>(EVP_MD_get_size(algorithm)), '\0');
    requireSuccess(EVP_Digest(bytes.data(), bytes.size(),
                              reinterpret_cast<unsigned char*>(digest.data()), nullptr, algorithm,
                              nullptr));
    return digest;
}
