// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/FileContent.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

const fs::path examples = VEL_SOURCE_DIRECTORY "/Examples";

/// The names of the files in a folder of the examples, in order; folders in it do not count.
std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(examples / folder)) {
        if (!entry.is_directory()) {
            names.push_back(entry.path().filename());
        }
    }
    std::ranges::sort(names);
    return names;
}

int expectedStatus(const Json& result) {
    return result.contains("identity_params") || result.at("pass").get<bool>() ? 0 : 1;
}

/// Holds the program's answer against the file that says what it should be.
void expectResult(const std::string& request, const std::string& machine,
                  const std::string& resultFile) {
    SCOPED_TRACE(request + " on " + machine + " (expected: Examples/" + resultFile +
                 "; Examples/update-results writes it anew)");
    ASSERT_TRUE(fs::exists(examples / resultFile)) << "no expected result";
    const Json expected = Json::parse(contentOf(examples / resultFile));
    const ChildProgram program{{VEL_POSTURE_PROGRAM, "check", examples / request, "--machine",
                                examples / machine, "--format", "json"}};
    const ChildProgram::Result answer = program.run();
    EXPECT_EQ(answer.errors, "");
    EXPECT_EQ(answer.status, expectedStatus(expected));
    ASSERT_TRUE(Json::accept(answer.output)) << answer.output;
    EXPECT_EQ(Json::parse(answer.output), expected) << answer.output;
}

TEST(Examples, EveryDescribedMacAnswersAllChecksAsExpected) {
    for (const std::string& machine : filesIn("Machines")) {
        expectResult("Requests/all-checks.json", "Machines/" + machine, "Results/" + machine);
    }
}

TEST(Examples, EveryRequestIsAnsweredAsExpectedByTheMacInGoodOrder) {
    for (const std::string& request : filesIn("Requests")) {
        expectResult("Requests/" + request, "Machines/compliant.json",
                     "Results/Requests/" + request);
    }
}

TEST(Examples, EveryExpectedResultHasItsMacOrRequest) {
    EXPECT_EQ(filesIn("Results"), filesIn("Machines"));
    EXPECT_EQ(filesIn("Results/Requests"), filesIn("Requests"));
}

/// "TYPE: TEXT" of every check that a Mac does not pass, and of each pass with another reason than
/// that of the Mac in good order.
std::vector<std::string> deviationsOf(const std::string& machine) {
    const auto explained = [](const std::string& name) {
        return Json::parse(ChildProgram{
            {VEL_POSTURE_PROGRAM, "check", examples / "Requests/all-checks.json", "--machine",
             examples / "Machines" / name, "--explain", "--format", "json"}}
                               .run()
                               .output);
    };
    const Json compliant = explained("compliant.json").at("evidence");
    const Json document = explained(machine);
    std::vector<std::string> deviations;
    for (std::size_t index = 0; index < compliant.size(); ++index) {
        const Json& evidence = document.at("evidence").at(index);
        if (evidence.at("text") != compliant.at(index).at("text")) {
            deviations.push_back(document.at("result").at("checks").at(index).value("type", "") +
                                 ": " + evidence.value("text", ""));
        }
    }
    return deviations;
}

TEST(Examples, EveryMacNamesItsDeviation) {
    using Deviations = std::map<std::string, std::vector<std::string>>;
    const std::string firewallTool = "/usr/libexec/ApplicationFirewall/socketfilterfw";
    const std::string dataVolume = "/System/Volumes/Data (apfs over Apple Fabric) is not encrypted";
    const Deviations expected = {
        {"agent-not-running.json",
         {"anyProcessRunning: SampleAgent does not run: none of 2 lines of the process listing "
          "ends "
          "with it"}},
        {"certificate-missing.json",
         {"certificatePresent: no certificate with this SHA-1 among 1"}},
        {"compliant.json", {}},
        {"expired-identity.json",
         {"perDeviceCertificatePresent: “C02EXAMPLE” expired 2025-01-01; no identity that is valid "
          "now was issued under “Sample Device Root”"}},
        {"firewall-off.json", {"localFirewall: the firewall is off (state 0)"}},
        {"firewall-tool-fails.json",
         {"localFirewall: " + firewallTool +
          " exited with status 1; the stored state, 1, does not count then"}},
        {"keychain-empty.json",
         {"certificatePresent: the keychains hold no certificate at all",
          "perDeviceCertificatePresent: the keychains hold no identity"}},
        {"nothing-known.json",
         {"localFirewall: " + firewallTool + " cannot be run: no such tool on this machine",
          "fullDiskEncryption: no volume is mounted",
          "certificatePresent: the keychains hold no certificate at all",
          "minimumOSVersion: found no product version, wanted at least 13",
          "anyProcessRunning: /bin/ps cannot be run: no such tool on this machine",
          "joinedToDomain: /usr/sbin/dsconfigad cannot be run: no such tool on this machine",
          "perDeviceCertificatePresent: the keychains hold no identity"}},
        {"other-domain.json",
         {"joinedToDomain: bound to corp.other.test, which does not match \"*.sample.test\""}},
        {"out-of-date.json", {"minimumOSVersion: found 11.7.10, wanted at least 13"}},
        {"tool-hangs.json",
         {"joinedToDomain: /usr/sbin/dsconfigad did not end within 10 s and was stopped"}},
        {"unbound.json",
         {"joinedToDomain: bound to no domain: /usr/sbin/dsconfigad printed nothing"}},
        {"unsigned-agent.json",
         {"anyProcessRunning: SampleAgent runs (pid 412), its signature cannot be read: "
          "/usr/bin/codesign exited with status 1"}},
        {"external-drive-unencrypted.json",
         {"fullDiskEncryption: encrypted: 1 volume in scope; not in scope: /Volumes/Backup (hfs "
          "over "
          "USB) is external"}},
        {"status-file-encrypted.json",
         {"fullDiskEncryption: " + dataVolume + "; the status file says \"1,1\": encrypted"}},
        {"status-file-malformed.json",
         {"fullDiskEncryption: " + dataVolume + "; the status file has no encryptionState"}},
        {"unencrypted.json", {"fullDiskEncryption: " + dataVolume + "; no status file"}},
        {"untrusted-identity.json",
         {"perDeviceCertificatePresent: “C02EXAMPLE” is not trusted: “C02EXAMPLE” certificate is "
          "not trusted"}},
        {"wrong-signer.json",
         {"anyProcessRunning: SampleAgent runs (pid 412), signed by OTHER7, wanted TEAM42"}},
    };
    Deviations found;
    for (const std::string& machine : filesIn("Machines")) {
        found[machine] = deviationsOf(machine);
    }
    EXPECT_EQ(found, expected);
}

std::string outcomeOf(const Json& check) {
    if (check.contains("error")) {
        return "error";
    }
    return check.at("pass").get<bool>() ? "pass" : "fail";
}

TEST(Examples, TheMacsCoverEveryOutcomeOfEveryCheck) {
    using Outcomes = std::map<std::string, std::set<std::string>>;
    Outcomes found;
    for (const std::string& machine : filesIn("Machines")) {
        const Json result = Json::parse(contentOf(examples / "Results" / machine));
        for (const Json& check : result.at("checks")) {
            found[check.at("type").get<std::string>()].insert(outcomeOf(check));
        }
    }
    const std::set<std::string> all = {"pass", "fail", "error"};
    EXPECT_EQ(found, (Outcomes{{"localFirewall", all},
                               {"fullDiskEncryption", all},
                               {"certificatePresent", all},
                               {"minimumOSVersion", {"pass", "fail"}},
                               {"anyProcessRunning", all},
                               {"joinedToDomain", all},
                               {"perDeviceCertificatePresent", all}}));
}

/// Every text in `value`, however deep.
void collectTexts(const Json& value, std::set<std::string>& texts) {
    if (value.is_string()) {
        texts.insert(value.get<std::string>());
    }
    if (value.is_structured()) {
        for (const Json& member : value) {
            collectTexts(member, texts);
        }
    }
}

TEST(Examples, TheCertificatesAreThoseOfTheirFolder) {
    std::set<std::string> texts;
    for (const std::string folder : {"Machines", "Requests"}) {
        for (const std::string& file : filesIn(folder)) {
            collectTexts(Json::parse(contentOf(examples / folder / file)), texts);
        }
    }
    std::set<std::string> certificates;
    for (const std::string& text : texts) {
        if (text.starts_with("MII")) {
            certificates.insert(text);
        }
    }
    std::set<std::string> expected;
    for (const std::string& file : filesIn("Certificates")) {
        // Only the leaf issued under it is in a Mac.
        if (file.ends_with(".pem") && file != "impostor-root.pem") {
            expected.insert(
                vel::base64Text(CertificateWorkshop::derOfFile(examples / "Certificates" / file)));
        }
    }
    EXPECT_EQ(certificates, expected);
}

TEST(Examples, EveryMacHasTheSameDateSoThatNothingExpires) {
    for (const std::string& machine : filesIn("Machines")) {
        EXPECT_EQ(Json::parse(contentOf(examples / "Machines" / machine)).value("date", ""),
                  "2026-01-15T12:00:00Z")
            << machine;
    }
}

TEST(Examples, NoPrivateKeyIsAmongThem) {
    std::size_t files = 0;
    for (const auto& entry : fs::recursive_directory_iterator(examples)) {
        if (!entry.is_directory()) {
            ++files;
            EXPECT_EQ(contentOf(entry.path()).find("PRIVATE KEY"), std::string::npos)
                << entry.path();
        }
    }
    EXPECT_GT(files, 0U);
}

} // namespace
