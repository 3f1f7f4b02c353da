// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELFirewallRuleset.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>

/// Whatever it is told, the judge answers, and what is no ruleset is not judged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    const auto denial = vel::inboundDenial(text);
    if (denial && !nlohmann::json::accept(text)) {
        std::abort();
    }
    const bool isDenied = denial && (denial->ipv4 || denial->ipv6);
    if (isDenied && text.find("nput") == std::string_view::npos &&
        text.find('\\') == std::string_view::npos) {
        std::abort(); // without a chain at the hook "input", or an escaped way to write it
    }
    return 0;
}
