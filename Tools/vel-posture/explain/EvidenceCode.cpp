// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/EvidenceCode.h"

#include "Base/VELJSON.h"

#include <functional>
#include <map>

namespace {

/// The code of each check that passes; nothing where there are several for the entry's type.
const std::string* codeOfPassing(const VELDictionary& entry) {
    static const std::map<std::string, std::string, std::less<>> codes = {
        {"certificatePresent", "certificate-present"},
        {"joinedToDomain", "domain-matches"},
        {"minimumOSVersion", "version-reached"},
        {"perDeviceCertificatePresent", "identity-trusted"},
    };
    const VELValue* type = vel::valueUnder("type", entry);
    const auto found = type != nullptr && type->is_string()
                           ? codes.find(type->get_ref<const std::string&>())
                           : codes.end();
    return found == codes.end() ? nullptr : &found->second;
}

} // namespace

std::string evidenceCode(const VELDictionary& entry, CheckOutcome::Kind outcome,
                         const std::string& error, std::span<const VELRecordedAnswer> answers) {
    const std::string* passed =
        outcome == CheckOutcome::Kind::pass ? codeOfPassing(entry) : nullptr;
    return passed != nullptr ? *passed : explain(entry, outcome, error, answers).code;
}
