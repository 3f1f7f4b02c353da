// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/explain/EvidenceCode.h"

#include "Base/VELJSON.h"
#include "Tools/vel-posture/explain/Explanation.h"

#include <functional>
#include <map>

using namespace vel::recorded;

namespace {

// The codes of checks that pass, from what they had to ask.

/// What is stored is asked for only if the tool says nothing.
const char* codeOfFirewall(const VELDictionary& /*entry*/, Answers answers) {
    return answerOf<PreferenceInteger>(answers) == nullptr ? "firewall-on"
                                                           : "stored-firewall-state-on";
}

/// The status file is read only if a volume is not encrypted, and "Encrypted" only of volumes in
/// scope.
const char* codeOfDiskEncryption(const VELDictionary& /*entry*/, Answers answers) {
    if (answerOf<FileContents>(answers) != nullptr) {
        return "status-file-encrypted";
    }
    const bool isInScope = std::ranges::any_of(answers, [](const VELRecordedAnswer& each) {
        const auto* property = std::get_if<MediaProperty>(&each.answer);
        return property != nullptr && property->name == "Encrypted";
    });
    return isInScope ? "volumes-encrypted" : "no-volume-in-scope";
}

/// Any of the processes may have been found: they tell only if all or none have to be signed.
const char* codeOfProcess(const VELDictionary& entry, Answers /*answers*/) {
    const VELArray& processes = entry.at("processes");
    const auto isToBeSigned = [](const VELValue& process) {
        return process.contains("signingCertificateSubjectOU");
    };
    if (std::ranges::all_of(processes, isToBeSigned)) {
        return "process-running-signed";
    }
    return std::ranges::none_of(processes, isToBeSigned) ? "process-running" : nullptr;
}

/// The code of a check that passes, as far as it shows without explaining. Null: it does not.
const char* codeOfPassing(const VELDictionary& entry, Answers answers) {
    using Code = const char* (*)(const VELDictionary& entry, Answers answers);
    static const std::map<std::string, Code, std::less<>> codes = {
        {"anyProcessRunning", &codeOfProcess},
        {"certificatePresent", [](const auto&, auto) { return "certificate-present"; }},
        {"fullDiskEncryption", &codeOfDiskEncryption},
        {"joinedToDomain", [](const auto&, auto) { return "domain-matches"; }},
        {"localFirewall", &codeOfFirewall},
        {"minimumOSVersion", [](const auto&, auto) { return "version-reached"; }},
        {"perDeviceCertificatePresent", [](const auto&, auto) { return "identity-trusted"; }},
    };
    const VELValue* type = vel::valueUnder("type", entry);
    const auto found = type != nullptr && type->is_string()
                           ? codes.find(type->get_ref<const std::string&>())
                           : codes.end();
    return found == codes.end() ? nullptr : found->second(entry, answers);
}

} // namespace

std::string evidenceCode(const VELDictionary& entry, CheckOutcome::Kind outcome,
                         const std::string& error, std::span<const VELRecordedAnswer> answers) {
    const char* passed =
        outcome == CheckOutcome::Kind::pass ? codeOfPassing(entry, answers) : nullptr;
    return passed != nullptr ? passed : explain(entry, outcome, error, answers).code;
}
