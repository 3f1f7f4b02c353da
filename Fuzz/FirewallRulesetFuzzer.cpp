// SPDX-License-Identifier: Apache-2.0
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELFirewallRuleset.h"

#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

/// A ruleset, and behind a NUL the listing of the same. Whatever they are, the judge answers, and
/// what is no ruleset is not judged.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text = fuzzText(data, size);
    const std::string_view ruleset = text.substr(0, text.find('\0'));
    const std::string_view listing =
        ruleset.size() == text.size() ? std::string_view() : text.substr(ruleset.size() + 1);
    const auto inbound = vel::inboundDefault(ruleset, listing, {{"eth0"}, true});
    require(!inbound || nlohmann::json::accept(ruleset));
    // Nothing is refused without a chain at the hook "input", or an escaped way to write it.
    require(inbound != vel::InboundDefault::refused || ruleset.find("nput") != ruleset.npos ||
            ruleset.find('\\') != ruleset.npos);
    // What holds for two interfaces holds for one of them, and for one family of both.
    if (vel::inboundDefault(ruleset, listing, {{"eth0", "lo"}, true}) ==
        vel::InboundDefault::refused) {
        require(inbound == vel::InboundDefault::refused);
    }
    if (inbound == vel::InboundDefault::refused) {
        require(vel::inboundDefault(ruleset, listing, {{"eth0"}, false}) == inbound);
    }
    return 0;
}
