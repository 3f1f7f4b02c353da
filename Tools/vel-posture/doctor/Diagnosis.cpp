// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/doctor/Diagnosis.h"

#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tools/vel-posture/explain/ExplainedEntry.h"
#include "Tools/vel-posture/explain/ToolEvidence.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <algorithm>
#include <array>

namespace {

/// A code that says that a source cannot be asked. One that ends with "*" stands for all codes that
/// begin so; of several the first one counts.
struct Trouble {
    std::string_view code;
    std::string_view remedy;
};

constexpr const char* signatureTool = "/usr/bin/codesign";
constexpr std::string_view asRoot = "run as root";
constexpr std::string_view asService =
    "give the service CAP_NET_ADMIN, and the network namespace whose rules it has to read";

constexpr std::array troubles = {
    Trouble{"nftables-missing", "install the package nftables"},
    Trouble{"nftables-failed", asService},
    Trouble{"nftables-timed-out", ""},
    Trouble{"firewall-needs-root", asRoot},
    Trouble{"firewalld-not-told", asRoot},
    Trouble{"firewall-state-*", ""},
    Trouble{"rules-*", "write the rules so that nft lists them in full"},
    Trouble{"interfaces-unknown", ""},
    Trouble{"system-bus-missing", "start the service dbus"},
    Trouble{"realmd-missing", "install and start realmd, if machines have to join a domain"},
    Trouble{"domain-binding-*", ""},
    Trouble{"domain-output-*", ""},
    Trouble{"firewall-tool-not-launched", "install the helper programs of this package"},
    Trouble{"domain-tool-not-launched", "install the helper programs of this package"},
    Trouble{"listing-tool-not-launched", "install the helper programs of this package"},
    Trouble{"signature-tool-not-launched", "install the helper programs of this package"},
    Trouble{"firewall-tool-*", ""},
    Trouble{"domain-tool-*", ""},
    Trouble{"listing-*", ""},
    Trouble{"process-listing-*", ""},
    Trouble{"signature-tool-*", ""},
    Trouble{"code-signature-*", ""},
    Trouble{"signers-missing",
            "put the certificates of your publishers into /etc/vel_device_trust/signers"},
    Trouble{"no-process-visible", "mount /proc, without hidepid, where this program runs"},
    Trouble{"disk-session-failed", ""},
    Trouble{"mount-table-unreadable", "mount /proc where this program runs"},
    Trouble{"status-file-unreadable", asRoot},
    Trouble{"keychain-not-readable", "see what `p11-kit list-modules` says"},
    Trouble{"keychain-contents-*", ""},
    Trouble{"keychain-module-*", "see what `p11-kit list-modules` says; switch the module off"},
    Trouble{"version-unknown", "write VERSION_ID into /etc/os-release"},
    Trouble{"serial-number-unknown", asRoot},
    Trouble{"other-error", ""},
    Trouble{"not-explained", ""},
};

const Trouble* troubleOf(std::string_view code) {
    const auto* found = std::ranges::find_if(troubles, [code](const Trouble& trouble) {
        return trouble.code.ends_with('*')
                   ? code.starts_with(trouble.code.substr(0, trouble.code.size() - 1))
                   : code == trouble.code;
    });
    return found == troubles.end() ? nullptr : found;
}

Diagnosis diagnosisOf(const char* source, const Evidence& evidence) {
    const Trouble* trouble = troubleOf(evidence.code);
    return {source, trouble == nullptr, evidence.code, evidence.text,
            trouble != nullptr ? std::string(trouble->remedy) : ""};
}

Evidence serialNumberOf(const VELPlatform& platform) {
    const bool isKnown = platform.serialNumber().has_value();
    return {.code = isKnown ? "serial-number-known" : "serial-number-unknown",
            .text = isKnown ? "the serial number can be read"
                            : "the machine has no serial number, or it may not be read"};
}

/// Whether signers are trusted at all. Nothing: no helper judges them, but the system itself.
std::optional<Evidence> signersOf(const std::shared_ptr<const VELPlatform>& platform) {
    const auto recording = std::make_shared<VELRecording>();
    const VELRecordingPlatform recorded(platform, recording);
    const std::vector<std::string> arguments = {"--display", "--extract-certificates",
                                                std::to_string(::getpid())};
    std::vector<std::string> question = arguments;
    question.emplace_back(whyArgument);
    const auto task = recorded.task(signatureTool, question, nullptr);
    if (task->launchPath() == signatureTool) {
        return std::nullopt;
    }
    static_cast<void>(runWithTimeout(task, toolTimeout, nullptr, recorded));
    const auto answers = recording->takeAnswers();
    Evidence evidence = {.code = "signers-trusted", .text = "there are signers to trust"};
    if (const auto* run = answerOf<vel::recorded::Run>(answers)) {
        if (auto failure = failureOf(*run, "signature-tool")) {
            return failure;
        }
    }
    std::vector<std::string> command = {signatureTool};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Evidence reason = explainedByHelper(command, answers, evidence);
    // That this very program is not signed is an answer.
    return reason.code == "signature-refused" ? evidence : reason;
}

/// An entry that asks a source and wants nothing of its answer.
struct Probe {
    const char* source;
    VELDictionary entry;
    /// What an answer says beside that there is one; null: the reason of the entry.
    const char* text = nullptr;
};

std::vector<Probe> probes() {
    return {
        {"firewall", {{"type", "localFirewall"}}},
        {"disks", {{"type", "fullDiskEncryption"}}},
        {"keychains", {{"type", "certificatePresent"}, {"sha1", std::string(40, '0')}}},
        {"system version", {{"type", "minimumOSVersion"}, {"version", "0"}}},
        {"processes",
         {{"type", "anyProcessRunning"}, {"processes", VELValue::array()}},
         "the running processes are listed"},
        {"domain",
         {{"type", "joinedToDomain"}, {"names", VELValue::array()}},
         "whether the machine is bound to a domain is known"},
    };
}

} // namespace

std::vector<Diagnosis> diagnosesOf(const std::shared_ptr<const VELPlatform>& platform) {
    std::vector<Diagnosis> diagnoses;
    for (const Probe& probe : probes()) {
        diagnoses.push_back(
            diagnosisOf(probe.source, runExplained(probe.entry, platform).evidence));
        if (diagnoses.back().canBeAsked && probe.text != nullptr) {
            diagnoses.back().text = probe.text;
        }
    }
    if (const auto signers = signersOf(platform)) {
        diagnoses.push_back(diagnosisOf("signers", *signers));
    }
    diagnoses.push_back(diagnosisOf("serial number", serialNumberOf(*platform)));
    return diagnoses;
}

std::string diagnosisReport(const std::vector<Diagnosis>& diagnoses, const ReportStyle& style) {
    std::vector<NamedText> lines;
    std::size_t missing = 0;
    for (const Diagnosis& each : diagnoses) {
        missing += each.canBeAsked ? 0 : 1;
        lines.emplace_back(each.source,
                           (each.canBeAsked ? "can be asked: " : "CANNOT BE ASKED: ") + each.text +
                               (each.remedy.empty() ? "" : "; to fix it: " + each.remedy));
    }
    std::string report = namedTexts(lines, 0, style) + "\n";
    addParagraph(report,
                 missing == 0 ? "every source can be asked"
                              : countOf(missing, "source", "sources") + " cannot be asked",
                 0, missing == 0 ? Colour::green : Colour::red, style);
    return report;
}

std::string diagnosisJSON(const std::vector<Diagnosis>& diagnoses) {
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for (const Diagnosis& each : diagnoses) {
        list.push_back({{"source", each.source},
                        {"canBeAsked", each.canBeAsked},
                        {"code", each.code},
                        {"text", each.text},
                        {"remedy", each.remedy}});
    }
    return nlohmann::ordered_json{{"sources", std::move(list)}}.dump(
        -1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}
