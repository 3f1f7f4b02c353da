// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Fuzz/FuzzInput.h"
#include "Helpers/Linux/VELDomainBinding.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <expat.h>
#include <string>

namespace {

void collect(void* text, const XML_Char* characters, int length) {
    static_cast<std::string*>(text)->append(characters, static_cast<std::size_t>(length));
}

void forget(void* text, const XML_Char*, const XML_Char**) {
    static_cast<std::string*>(text)->clear();
}

} // namespace

/// Whatever the domain is called, the list is XML whose last text is that name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string domain(fuzzText(data, size));
    const auto list = vel::domainPropertyList(domain);
    if (!list) {
        return 0;
    }
    std::string text;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetUserData(parser, &text);
    XML_SetCharacterDataHandler(parser, &collect);
    XML_SetStartElementHandler(parser, &forget);
    const auto status = XML_Parse(parser, list->data(), static_cast<int>(list->size()), XML_TRUE);
    XML_ParserFree(parser);
    if (status != XML_STATUS_OK || !text.starts_with(domain)) {
        std::abort();
    }
    return 0;
}
