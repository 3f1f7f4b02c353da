// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFirewallCheck.h"
#include "Fuzz/FuzzInput.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

bool holdsLabelledASCIIDigit(std::string_view output) {
    for (const char digit : std::string_view("0123456789")) {
        if (output.find(std::string("State = ") + digit) != std::string_view::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

/// A state is a number of 32 bits, is found where an ASCII digit shows it, and is the first one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string output(fuzzText(data, size));
    const std::optional<std::int64_t> state = VELFirewallCheck::stateInOutput(output);
    if (state) {
        require(*state >= 0 && *state <= std::numeric_limits<std::int32_t>::max());
        require(output.find("State = ") != std::string::npos);
    } else {
        require(!holdsLabelledASCIIDigit(output));
    }
    require(VELFirewallCheck::stateInOutput(output + "\nState = 7") == state.value_or(7));
    require(VELFirewallCheck::stateInOutput("State = 7\n" + output) == 7);
    return 0;
}
