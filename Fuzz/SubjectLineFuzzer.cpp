// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Fuzz/FuzzInput.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// An OU stands between the first label and the next slash; without one, adding a slash makes one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string line(fuzzText(data, size));
    const std::size_t label = line.find("/OU=");
    const std::optional<std::string> subjectOU =
        VELProcessRunningCheck::subjectOUInSubjectLine(line);
    if (subjectOU) {
        require(subjectOU->find('/') == std::string::npos);
        require(line.compare(label, subjectOU->size() + 5, "/OU=" + *subjectOU + "/") == 0);
    } else if (label != std::string::npos) {
        require(VELProcessRunningCheck::subjectOUInSubjectLine(line + "/") ==
                line.substr(label + 4));
    }
    return 0;
}
