// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELCertificateSubject.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

/// Whatever a certificate holds, its subject is one line of printable ASCII, in which a slash
/// introduces an attribute and nothing else.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto subject = vel::certificateSubject(fuzzText(data, size));
    if (!subject) {
        return 0;
    }
    std::string_view rest = *subject;
    const bool isPrintable =
        std::ranges::all_of(rest, [](char c) { return c >= 0x20 && c <= 0x7E; });
    if (!isPrintable || (!rest.empty() && !rest.starts_with('/'))) {
        std::abort();
    }
    while (!rest.empty()) {
        rest.remove_prefix(1);
        const auto attribute = rest.substr(0, rest.find('/'));
        const auto name = attribute.substr(0, attribute.find('='));
        if (name.empty() || name.size() == attribute.size() ||
            name.find_first_of(" \\") != std::string_view::npos) {
            std::abort();
        }
        rest.remove_prefix(attribute.size());
    }
    return 0;
}
