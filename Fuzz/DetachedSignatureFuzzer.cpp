// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELDetachedSignature.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace {

int fileWith(std::string_view content) {
    const int file = ::memfd_create("content", MFD_CLOEXEC);
    if (file < 0 || ::write(file, content.data(), content.size()) < 0) {
        std::abort();
    }
    return file;
}

} // namespace

/// The seeds sign "content\n". Whatever the input, a signature that is accepted for that is not
/// accepted for another content, nor without an anchor that vouches for it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int content = fileWith("content\n");
    static const int other = fileWith("other\n");
    static const std::vector<std::string> noAnchors;
    const std::string_view input = fuzzText(data, size);
    const auto result = vel::verifyDetachedSignature(input, content, nullptr);
    if (const auto* certificate = std::get_if<vel::SignerCertificate>(&result)) {
        if (vel::certificatesInFile(*certificate) != std::vector{*certificate} ||
            vel::verifyDetachedSignature(input, other, nullptr).index() == 0 ||
            vel::verifyDetachedSignature(input, content, &noAnchors).index() == 0) {
            std::abort();
        }
    } else if (std::get<vel::SignatureRefusal>(result).reason.empty()) {
        std::abort();
    }
    vel::certificatesInFile(input);
    return 0;
}
