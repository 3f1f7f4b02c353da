// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Classes/Mac/VELDomainCheck.h"
#include "Fuzz/FuzzInput.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Output holds a domain, or none, or is no property list; a domain is text that its own name fits.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view output = fuzzText(data, size);
    std::optional<VELError> error;
    const auto domain = VELDomainCheck::domainInPropertyList(output, &error);
    if (error) {
        require(!domain && error->domain() == "NSCocoaErrorDomain" && error->code() == 3840);
    }
    if (domain) {
        require(vel::isValidUTF8(*domain));
        require(VELDomainCheck::doesWildcard("*", *domain, nullptr));
        const bool isPattern = VELDomainCheck::isValidDomainWildcardString(*domain);
        require(VELDomainCheck::doesWildcard(*domain, *domain, nullptr) ==
                (isPattern && !domain->empty()));
    }
    return 0;
}
