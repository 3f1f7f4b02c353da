// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/explain/Explanation.h"

#include <map>

namespace {

Explainer explainerOf(const VELDictionary& entry) {
    static const std::map<std::string, Explainer, std::less<>> explainers = {
        {"localFirewall", &explainFirewall},
        {"fullDiskEncryption", &explainDiskEncryption},
        {"certificatePresent", &explainCertificate},
        {"minimumOSVersion", &explainVersion},
        {"anyProcessRunning", &explainProcess},
        {"joinedToDomain", &explainDomain},
        {"perDeviceCertificatePresent", &explainIdentity},
    };
    const VELValue* type = vel::valueUnder("type", entry);
    const auto found = type != nullptr && type->is_string()
                           ? explainers.find(type->get_ref<const std::string&>())
                           : explainers.end();
    return found == explainers.end() ? nullptr : found->second;
}

/// For answers that are not whole, and for what went wrong in the program itself.
Evidence unexplained(CheckOutcome::Kind outcome, const std::string& error) {
    if (outcome == CheckOutcome::Kind::error) {
        return {.code = "other-error", .text = printable(error)};
    }
    return {.code = "not-explained", .text = "the answers that were kept do not explain this"};
}

} // namespace

Evidence explain(const VELDictionary& entry, CheckOutcome::Kind outcome, const std::string& error,
                 std::span<const VELRecordedAnswer> answers) {
    if (auto refused = explainRefusedEntry(entry)) {
        return outcome == CheckOutcome::Kind::error ? *std::move(refused)
                                                    : unexplained(outcome, error);
    }
    const Explainer explainer = explainerOf(entry);
    auto explanation = explainer != nullptr ? explainer(entry, answers) : std::nullopt;
    // Nothing is said that the result does not say.
    return explanation && explanation->outcome == outcome ? std::move(explanation->evidence)
                                                          : unexplained(outcome, error);
}
