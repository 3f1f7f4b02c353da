// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/StatusFile.h"
#include "Tools/vel-posture/explain/ExplainedEntry.h"
#include "Tools/vel-posture/explain/FurtherQuestions.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>

namespace {

using Kind = CheckOutcome::Kind;
using Command = std::vector<std::string>;

const Command firewallTool = {"/usr/libexec/ApplicationFirewall/socketfilterfw",
                              "--getglobalstate"};
const Command domainTool = {"/usr/sbin/dsconfigad", "-show", "-xml"};
const Command listingTool = {"/bin/ps", "-axc"};
const Command subjectTool = {"/usr/bin/openssl", "x509",     "-inform", "DER", "-in",
                             "codesign0",        "-subject", "-noout"};

class Explain : public EngineTest {
protected:
    /// "CODE: TEXT".
    [[nodiscard]] std::string why(const VELDictionary& entry) const {
        const Evidence evidence = runExplained(entry, platform).evidence;
        return evidence.code + ": " + evidence.text;
    }

    VELSimulatedRun& answer(const Command& command, std::string output) const {
        VELSimulatedRun run;
        run.command = command;
        run.output = std::move(output);
        platform->tools.push_back(std::move(run));
        return platform->tools.back();
    }

    void mount(const std::string& path, bool internal, VELValue encrypted) const {
        const auto shared = [](VELValue value) {
            return std::make_shared<const VELValue>(std::move(value));
        };
        VELSimulatedDisk disk;
        disk.description = {shared(internal), shared("SATA"), shared("apfs")};
        disk.media = {{"Sealed", "No"}, {"Role", VELValue::array({"Data"})}};
        if (!encrypted.is_null()) {
            (*disk.media)["Encrypted"] = std::move(encrypted);
        }
        platform->disks.mounts->push_back({"apfs", path, disk});
    }

    void signAs(std::int64_t processID, const std::string& subject) const {
        answer(
            {"/usr/bin/codesign", "--display", "--extract-certificates", std::to_string(processID)},
            "");
        answer(subjectTool, subject);
    }
};

const VELDictionary firewall = {{"type", "localFirewall"}};
const VELDictionary disks = {{"type", "fullDiskEncryption"}};

VELDictionary version(VELValue wanted) {
    return {{"type", "minimumOSVersion"}, {"version", std::move(wanted)}};
}

VELDictionary certificate(VELValue sha1) {
    return {{"type", "certificatePresent"}, {"sha1", std::move(sha1)}};
}

VELDictionary domain(VELValue names) {
    return {{"type", "joinedToDomain"}, {"names", std::move(names)}};
}

VELDictionary processes(VELValue list) {
    return {{"type", "anyProcessRunning"}, {"processes", std::move(list)}};
}

VELDictionary identity(VELValue cert) {
    return {{"type", "perDeviceCertificatePresent"}, {"cert", std::move(cert)}};
}

TEST_F(Explain, NamesWhatKeepsAnEntryFromItsCheck) {
    EXPECT_EQ(why({{"name", "none"}}), "type-missing: the entry has no \"type\"");
    EXPECT_EQ(why({{"type", 7}}), "type-not-text: \"type\" is a number, not a string");
    EXPECT_EQ(why({{"type", "localfirewall"}}),
              "type-unknown: no check type is called localfirewall; did you mean "
              "\"localFirewall\"?");
    EXPECT_EQ(why({{"type", "minimumOSVersion"}}),
              "parameter-missing: the entry has no parameter \"version\"");
    EXPECT_EQ(why(version(14)), "parameter-type: the parameter version is a number, not a string");
    EXPECT_EQ(why(certificate(nullptr)),
              "parameter-type: the parameter sha1 is null, not a string");
    EXPECT_EQ(why(identity(VELValue::array())),
              "parameter-type: the parameter cert is an array, not a string");
    answer(domainTool, propertyListXML({{"General Info", {{"Active Directory Domain", "a.b"}}}}));
    EXPECT_EQ(why(domain("a")), "parameter-type: the parameter names is a string, not an array");
    EXPECT_EQ(why(domain({"x", 7})),
              "parameter-type: the parameter names[1] is a number, not a string");
    answer(listingTool, "");
    EXPECT_EQ(why(processes(VELValue::array({VELValue::array()}))),
              "parameter-type: the parameter processes[0] is an array, not an object");
}

TEST_F(Explain, NamesTheVersionThatWasFound) {
    EXPECT_EQ(why(version("14.0")),
              "version-unknown: found no product version, wanted at least 14.0");
    platform->productVersionRecord = "12";
    EXPECT_EQ(why(version("14.0")), "version-too-old: found 12, wanted at least 14.0");
    EXPECT_EQ(why(version("12.0")), "version-too-old: found 12, wanted at least 12.0: of the two "
                                    "the longer one is the later");
    EXPECT_EQ(why(version("11.7")), "version-reached: found 12, wanted at least 11.7");
    EXPECT_EQ(why(version(">=12")), "version-not-comparable: found 12, wanted at least \">=12\", "
                                    "which is not digits and dots alone");
    const Evidence evidence = runExplained(version("14.0"), platform).evidence;
    EXPECT_EQ(evidence.expected, VELValue("14.0"));
    EXPECT_EQ(evidence.found, VELValue("12"));
    EXPECT_EQ(evidence.source, "the product version");
}

TEST_F(Explain, NamesHowTheFirewallsToolFailed) {
    const std::string tool = firewallTool.front();
    EXPECT_EQ(why(firewall), "firewall-tool-not-launched: " + tool +
                                 " cannot be run: no such tool on this machine");
    VELSimulatedRun& run = answer(firewallTool, "");
    run.status = 3;
    EXPECT_EQ(why(firewall), "firewall-tool-failed: " + tool + " exited with status 3");
    platform->preferenceStore.machine["com.apple.alf"]["globalstate"] = 1;
    EXPECT_EQ(why(firewall), "firewall-tool-failed: " + tool +
                                 " exited with status 3; the stored state, 1, does not count then");
    platform->preferenceStore.machine.clear();
    run.status = -1;
    EXPECT_EQ(why(firewall), "firewall-tool-status-lost: the exit status of " + tool +
                                 " was lost: the host program ignores or reaps its children");
    run.status = 0;
    run.seconds = 60;
    EXPECT_EQ(why(firewall),
              "firewall-tool-timed-out: " + tool + " did not end within 10 s and was stopped");
    run.seconds = 0;
    EXPECT_EQ(why(firewall),
              "firewall-state-unknown: " + tool + " printed no state; no state is stored");
    run.output = "\xFF";
    EXPECT_EQ(why(firewall), "firewall-tool-output-not-text: what " + tool +
                                 " printed is not UTF-8; no state is stored");
}

TEST_F(Explain, NamesTheStateOfTheFirewall) {
    VELSimulatedRun& run = answer(firewallTool, "Firewall is disabled. (State = 0)\n");
    EXPECT_EQ(why(firewall), "firewall-off: the firewall is off (state 0)");
    run.output = "Firewall is enabled. (State = 1)\n";
    EXPECT_EQ(why(firewall), "firewall-on: the firewall is on (state 1)");
    run.output = "";
    platform->preferenceStore.machine["com.apple.alf"]["globalstate"] = 2;
    EXPECT_EQ(why(firewall), "stored-firewall-state-on: " + firewallTool.front() +
                                 " printed no state; as stored, the firewall is on (state 2)");
}

TEST_F(Explain, NamesTheVolumesThatAreNotEncrypted) {
    platform->disks.mounts.emplace();
    EXPECT_EQ(why(disks), "no-volume-in-scope: no volume is mounted");
    mount("/Volumes/Stick", false, false);
    EXPECT_EQ(
        why(disks),
        "no-volume-in-scope: no volume is in scope: /Volumes/Stick (apfs over SATA) is external");
    mount("/", true, true);
    mount("/data", true, true);
    EXPECT_EQ(why(disks), "volumes-encrypted: encrypted: 2 volumes in scope; not in scope: "
                          "/Volumes/Stick (apfs over SATA) is external");
    mount("/home", true, false);
    mount("/srv", true, nullptr);
    EXPECT_EQ(why(disks), "volume-not-encrypted: /home (apfs over SATA) is not encrypted; /srv "
                          "(apfs over SATA) does not say that "
                          "it is encrypted; 2 other volumes in scope are; no status file");
    platform->fileStore.contents[statusFile] = propertyListXML({{"encryptionState", "1,0"}});
    EXPECT_EQ(why(disks),
              "status-file-not-encrypted: /home (apfs over SATA) is not encrypted; /srv (apfs over "
              "SATA) does not say "
              "that it is encrypted; 2 other volumes in scope are; the status file says \"1,0\": "
              "disk 2 is not encrypted");
    platform->disks.mounts.reset();
    platform->fileStore.contents[statusFile] = propertyListXML({{"encryptionState", "1"}});
    EXPECT_EQ(why(disks), "status-file-encrypted: the mount table cannot be read; the status file "
                          "says 1: encrypted");
    platform->fileStore.contents[statusFile] = propertyListXML({{"encryptionState", 1}});
    EXPECT_EQ(why(disks), "status-file-state-not-text: the mount table cannot be read; the status "
                          "file's encryptionState is 1, not a string");
    platform->fileStore.contents[statusFile] = "nonsense";
    EXPECT_EQ(why(disks), "status-file-malformed: the mount table cannot be read; the status file "
                          "is no property list");
    platform->fileStore.contents[statusFile] = std::nullopt;
    EXPECT_EQ(why(disks), "status-file-unreadable: the mount table cannot be read; the status file "
                          "cannot be read");
}

TEST_F(Explain, NamesTheDevicesOfVolumes) {
    platform->disks.mounts.emplace();
    const auto mountFrom = [&](const std::string& device, const std::string& path,
                               bool isEncrypted) {
        mount(path, true, isEncrypted);
        platform->disks.mounts->back().device = device;
    };
    mountFrom("vda1", "/", false);
    mountFrom("vdb", "/srv", true);
    EXPECT_EQ(why(disks), "volume-not-encrypted: / (apfs on vda1) is not encrypted; "
                          "1 other volume in scope is; no status file");
    platform->disks.mounts->front().device = "a\n\xFF";
    EXPECT_EQ(why(disks), "volume-not-encrypted: / (apfs on a\\n�) is not encrypted; "
                          "1 other volume in scope is; no status file");
    platform->disks.mounts->erase(platform->disks.mounts->begin());
    mount("/Volumes/Stick", false, false);
    platform->disks.mounts->back().device = "sdb1";
    EXPECT_EQ(why(disks), "volumes-encrypted: encrypted: 1 volume in scope; not in scope: "
                          "/Volumes/Stick (apfs on sdb1 over SATA) is external");
    // Which of them the disk is, is not known.
    mountFrom("vda3", "/srv", false);
    EXPECT_EQ(why(disks), "volume-not-encrypted: /srv (apfs over SATA) is not encrypted; /srv "
                          "(apfs over SATA) is not encrypted; no status file");
}

TEST_F(Explain, CountsTheCertificatesThatWereCompared) {
    const std::string ofABC = "a9993e364706816aba3e25717850c26c9cd0d89d";
    EXPECT_EQ(why(certificate(ofABC)), "keychain-empty: the keychains hold no certificate at all");
    platform->keychainStore.certificateList = {"x", "y"};
    EXPECT_EQ(why(certificate(ofABC)),
              "certificate-absent: no certificate with this SHA-1 among 2");
    EXPECT_EQ(why(certificate("a9:99")),
              "fingerprint-not-hexadecimal: \"a9:99\" is no SHA-1: it contains colons");
    EXPECT_EQ(why(certificate("a999")),
              "fingerprint-length: a999 is no SHA-1: it has 4 digits instead of 40");
    platform->keychainStore.certificateList = {"x", "abc"};
    EXPECT_EQ(why(certificate(ofABC)), "certificate-present: a certificate without a name has this "
                                       "SHA-1, number 2 of 2");
    platform->keychainStore.certificatesStatus = VELSecurityStatus::internalComponent;
    EXPECT_EQ(why(certificate(ofABC)), "keychain-not-readable: the keychains cannot be read: "
                                       "status -2070, An internal component failed.");
}

TEST_F(Explain, NamesProcessSignerAndWhatWasWanted) {
    const VELValue agent = {{"name", "SampleAgent"}, {"signingCertificateSubjectOU", "TEAM42"}};
    const VELValue daemon = {{"name", "SampleDaemon"}};
    answer(listingTool, "  PID TTY TIME CMD\n  412 ?? 0:03.71 SampleAgent\n");
    EXPECT_EQ(why(processes(VELValue::array())), "process-not-running: \"processes\" has no entry");
    EXPECT_EQ(why(processes(VELValue::array({daemon}))),
              "process-not-running: SampleDaemon does not run: none of 2 lines of the process "
              "listing ends with it");
    EXPECT_EQ(why(processes({{{"name", "sampleagent"}}})),
              "process-running: sampleagent runs (pid 412)");
    EXPECT_EQ(why(processes({{{"name", "Agent"}}})),
              "process-running: Agent runs (pid 412), selected by the line \"  412 ?? 0:03.71 "
              "SampleAgent\"");
    EXPECT_EQ(why(processes({daemon, VELValue::object()})),
              "process-name-missing: SampleDaemon does not run: none of 2 lines of the process "
              "listing ends with it; processes[1] has no \"name\"");
    EXPECT_EQ(why(processes(VELValue::array({agent}))),
              "signature-tool-not-launched: SampleAgent runs (pid 412), its signature cannot be "
              "read: /usr/bin/codesign cannot be run: no such tool on this machine");
    signAs(412, "subject= /CN=Agent/OU=OTHER7/O=Sample\n");
    EXPECT_EQ(why(processes(VELValue::array({agent}))),
              "signer-differs: SampleAgent runs (pid 412), signed by OTHER7, wanted TEAM42");
    EXPECT_EQ(why(processes({agent, agent})),
              "signer-differs: SampleAgent runs (pid 412), signed by OTHER7, wanted TEAM42; "
              "SampleAgent runs (pid 412), its signature was not read any more");
    platform->tools.back().output = "subject= /CN=Agent/OU=TEAM42/O=Sample\n";
    EXPECT_EQ(why(processes(VELValue::array({agent}))),
              "process-running-signed: SampleAgent runs (pid 412), signed by TEAM42");
    platform->tools.back().output = "subject= /CN=Agent\n";
    EXPECT_EQ(why(processes(VELValue::array({agent}))),
              "signer-without-unit: SampleAgent runs (pid 412), the signer's subject has no "
              "organisational unit that a slash follows, wanted TEAM42");
}

TEST_F(Explain, NamesDomainAndPatterns) {
    const VELDictionary entry = domain({"*.other.test", "a b"});
    VELSimulatedRun& run = answer(domainTool, "");
    EXPECT_EQ(why(entry), "domain-not-bound: bound to no domain: /usr/sbin/dsconfigad printed "
                          "nothing");
    run.output = propertyListXML({{"General Info", {{"Active Directory Domain", "corp.test"}}}});
    EXPECT_EQ(why(entry), "domain-does-not-match: bound to corp.test, which does not match "
                          "\"*.other.test\"; \"a b\" (not a valid pattern)");
    EXPECT_EQ(why(domain({"a b"})), "domain-patterns-invalid: bound to corp.test, which does not "
                                    "match \"a b\" (not a valid pattern)");
    EXPECT_EQ(why(domain({"x", "corp"})), "domain-matches: bound to corp.test, which matches corp");
    EXPECT_EQ(why(domain(VELValue::array())),
              "domain-patterns-missing: bound to corp.test; \"names\" has no pattern");
    run.output = propertyListXML({{"General Info", VELValue::object()}});
    EXPECT_EQ(why(entry), "domain-not-in-output: bound to no domain: what /usr/sbin/dsconfigad "
                          "printed names none");
}

/// The answers of a Linux machine whose firewall helper prints nothing, and says `why`.
std::vector<VELRecordedAnswer> answersOfSilentHelper(const std::string& why) {
    vel::recorded::Run run = {.command = firewallTool, .launchPath = "/libexec/firewall-state"};
    run.status = 0;
    run.outputState = vel::recorded::Run::Output::complete;
    vel::recorded::Run asked = run;
    asked.command.emplace_back("--why");
    asked.output = why;
    const std::chrono::nanoseconds noTime(0);
    return {
        {0, run, noTime},
        {0, vel::recorded::PreferenceInteger{"globalstate", "com.apple.alf", {0, false}}, noTime},
        {0, asked, noTime}};
}

TEST_F(Explain, TakesTheReasonOfASilentHelper) {
    const auto why = [](const std::string& line) {
        const Evidence evidence = explain(firewall, Kind::error, "Error getting firewall state.",
                                          answersOfSilentHelper(line));
        return evidence.code + ": " + evidence.text;
    };
    EXPECT_EQ(why("firewall-needs-root: firewall-state needs root to read the rules\n"),
              "firewall-needs-root: firewall-state needs root to read the rules; no state is "
              "stored");
    EXPECT_EQ(why("a-b: \x1B[31m\n"), "a-b: \\u001b[31m; no state is stored");
    for (const char* noReason : {"", "known: it is\n", "No code: x\n", "a: b", ": b\n"}) {
        EXPECT_EQ(why(noReason), "firewall-state-unknown: /libexec/firewall-state printed no "
                                 "state; no state is stored");
    }
}

TEST_F(Explain, TellsTheCausesOfTheFirewallsErrorApart) {
    const auto failing = [](auto change) {
        std::vector<VELRecordedAnswer> answers = answersOfSilentHelper("");
        answers.pop_back();
        change(std::get<vel::recorded::Run>(answers[0].answer));
        return answers;
    };
    using vel::recorded::Run;
    const std::vector<std::vector<VELRecordedAnswer>> causes = {
        failing([](Run& run) { run.launchFailure = "no such file"; }),
        failing([](Run& run) { run.status = 1; }),
        failing([](Run& run) {
            run.status = 15;
            run.terminatedAfter = std::chrono::seconds(10);
        }),
        failing([](Run& run) { run.status = -1; }),
        answersOfSilentHelper("nftables-missing: firewall-state cannot run nft\n"),
        answersOfSilentHelper("firewall-needs-root: firewall-state needs root\n"),
    };
    std::set<std::string> codes;
    std::set<std::string> texts;
    for (const auto& answers : causes) {
        const Evidence evidence =
            explain(firewall, Kind::error, "Error getting firewall state.", answers);
        codes.insert(evidence.code);
        texts.insert(evidence.text);
    }
    EXPECT_EQ(codes,
              (std::set<std::string>{"firewall-needs-root", "firewall-tool-failed",
                                     "firewall-tool-not-launched", "firewall-tool-status-lost",
                                     "firewall-tool-timed-out", "nftables-missing"}));
    EXPECT_EQ(texts.size(), causes.size());
}

TEST_F(Explain, AsksASilentHelperWhy) {
    const auto recording = std::make_shared<VELRecording>();
    const VELRecordingPlatform recorded(platform, recording);
    Command question = firewallTool;
    question.emplace_back("--why");
    answer(question, "a: b\n");
    std::vector<VELRecordedAnswer> answers = answersOfSilentHelper("");
    answers.resize(1);
    askFurther(answers, recorded);
    const auto asked = recording->takeAnswers();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(std::get<vel::recorded::Run>(asked[0].answer).command, question);
    EXPECT_EQ(std::get<vel::recorded::Run>(asked[0].answer).output, "a: b\n");

    auto& run = std::get<vel::recorded::Run>(answers[0].answer);
    run.output = "Firewall is enabled. (State = 1)\n";
    askFurther(answers, recorded);
    run.output = "";
    run.launchPath = run.command.front(); // the tool of macOS itself
    askFurther(answers, recorded);
    EXPECT_TRUE(recording->takeAnswers().empty());
}

TEST_F(Explain, NamesStoredStatesThatAreNoIntegers) {
    answer(firewallTool, "");
    platform->preferenceStore.machine["com.apple.alf"]["globalstate"] = "1";
    EXPECT_EQ(why(firewall), "firewall-state-unknown: " + firewallTool.front() +
                                 " printed no state; the stored state is \"1\", which is no "
                                 "integer");
}

TEST_F(Explain, TakesTheReasonOfTheKeychainsHelper) {
    const std::chrono::nanoseconds noTime(0);
    vel::recorded::Run asked = {.command = {"/usr/bin/security", "--why"},
                                .launchPath = "/libexec/keychain-contents"};
    asked.status = 0;
    asked.outputState = vel::recorded::Run::Output::complete;
    asked.output = "keychain-module-failed: token.so: no slot\n";
    const std::vector<VELRecordedAnswer> answers = {
        {0, vel::recorded::Certificates{VELSecurityStatus::internalComponent, {}}, noTime},
        {0, asked, noTime}};
    const Evidence evidence =
        explain(certificate(std::string(40, 'a')), Kind::error, "Error", answers);
    EXPECT_EQ(evidence.code, "keychain-module-failed");
    EXPECT_EQ(evidence.text, "token.so: no slot");
}

TEST_F(Explain, TakesTheCauseOfAnErrorFromTheEvaluation) {
    using namespace vel::recorded;
    const VELError error =
        VELError::withLocalizedDescription("NSOSStatusErrorDomain", -67843, "no");
    const std::vector<VELRecordedAnswer> answers = {
        {0, Identities{"", VELSecurityStatus::success, 2}, {}},
        {0, IdentityCertificate{"", 0, VELSecurityStatus::success, "a"}, {}},
        {0, Trust{.leaf = "a", .anchor = "b", .isTrusted = false, .error = error}, {}},
        {0, IdentityCertificate{"", 1, VELSecurityStatus::parameter, std::nullopt}, {}}};
    EXPECT_EQ(explain(identity("AAAA"), Kind::error, "no", answers).code, "identity-not-trusted");
}

TEST_F(Explain, SaysThatAListWithoutIdentitiesHasNone) {
    using namespace vel::recorded;
    const std::vector<VELRecordedAnswer> answers = {
        {0, Identities{"", VELSecurityStatus::success, 0}, {}}};
    EXPECT_EQ(explain(identity("AAAA"), Kind::fail, "", answers).code, "identity-absent");
}

TEST_F(Explain, SaysThatAnswersAreMissing) {
    EXPECT_EQ(explain(version("1"), Kind::fail, "", {}).code, "not-explained");
    const Evidence other = explain(version("1"), Kind::error, "out\nof memory", {});
    EXPECT_EQ(other.code, "other-error");
    EXPECT_EQ(other.text, "out\\nof memory");
    const std::vector<VELRecordedAnswer> answers = {
        {0, vel::recorded::ProductVersion{"12"}, std::chrono::nanoseconds(0)}};
    EXPECT_EQ(explain(version("1"), Kind::fail, "", answers).code, "not-explained");
    EXPECT_EQ(explain(version("1"), Kind::pass, "", answers).code, "version-reached");
}

} // namespace
