// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/lint/RequestLint.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/FileContent.h"
#include "Tools/vel-posture/DisplayText.h"
#include "Tools/vel-posture/lint/ParameterLint.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <random>

void PrintTo(const Finding& finding, std::ostream* stream) {
    *stream << finding.place << " | " << finding.problem << " | " << finding.advice;
}

namespace {

using Findings = std::vector<Finding>;

/// A Mac that is bound to corp.sample.test, runs SampleAgent, and has the certificate of no bytes.
std::shared_ptr<VELSimulatedPlatform> boundMac() {
    auto platform = std::make_shared<VELSimulatedPlatform>();
    platform->productVersionRecord = "12.1";
    platform->keychainStore.certificateList = {""};
    platform->tools = {
        {.command = {"/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"},
         .output = "State = 1"},
        {.command = {"/usr/sbin/dsconfigad", "-show", "-xml"},
         .output = "<plist><dict><key>General Info</key><dict><key>Active Directory Domain</key>"
                   "<string>corp.sample.test</string></dict></dict></plist>"},
        {.command = {"/bin/ps", "-axc"},
         .output = "  PID TTY           TIME CMD\n  412 ??         0:03.71 SampleAgent\n"},
        {.command = {"/usr/bin/codesign", "--display", "--extract-certificates", "412"}},
        {.command = {"/usr/bin/codesign", "--display", "--extract-certificates", "0"}},
        {.command = {"/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0", "-subject",
                     "-noout"},
         .output = "subject= /CN=Sample Agent/OU=TEAM42/O=Sample Corp\n"}};
    return platform;
}

LintRules macRules() {
    return {"mac", macPostureCheckCatalogue(std::make_shared<VELSimulatedPlatform>()),
            VELMoment(std::chrono::sys_days(std::chrono::year(2030) / 1 / 1))};
}

Findings findingsIn(std::string_view document) {
    std::string failure;
    const auto findings = findingsInDocument(document, macRules(), &failure);
    EXPECT_TRUE(findings) << failure;
    return findings.value_or(Findings());
}

/// Without their rules and positions.
Findings textsIn(std::string_view document) {
    Findings findings = findingsIn(document);
    for (Finding& finding : findings) {
        finding = {finding.place, finding.problem, finding.advice};
    }
    return findings;
}

std::string requestWith(const std::string& entry) {
    return R"({"mac": [)" + entry + "]}";
}

VELValue resultOn(const std::shared_ptr<VELSimulatedPlatform>& platform,
                  std::string_view document) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, platform);
    return VELValue::parse(runner->runPostureCheckFromDocumentString(document));
}

const std::string removeUnread = "remove it if nothing else reads it";
const std::string theTypes =
    "the check types are anyProcessRunning, certificatePresent, fullDiskEncryption, "
    "joinedToDomain, localFirewall, minimumOSVersion and perDeviceCertificatePresent";

struct Row {
    std::string request;
    Findings findings;
};

void expectFindings(const std::vector<Row>& rows) {
    for (const Row& row : rows) {
        EXPECT_EQ(textsIn(row.request), row.findings) << row.request;
    }
}

// ---- the document

const std::vector<Row> documentRows = {
    {"{}",
     {{"mac", "is missing: nothing is checked, and the request passes",
       R"(list the checks under "mac": {"mac": [{"type": "localFirewall"}]})"}}},
    {R"({"mac": []})",
     {{"mac", "is empty: nothing is checked, and the request passes",
       R"(list the checks, such as {"type": "localFirewall"})"}}},
    {R"({"Mac": [{"type": "localFirewall"}]})",
     {{"Mac", R"(is not read, only "mac" is: nothing is checked, and the request passes)",
       R"(did you mean "mac"?)"}}},
    {R"({"macOS": []})",
     {{"macOS", R"(is not read, only "mac" is: nothing is checked, and the request passes)",
       R"(did you mean "mac"?)"}}},
    {R"({"checks": [{"type": "localFirewall"}]})",
     {{"checks", R"(is not read, only "mac" is: nothing is checked, and the request passes)",
       R"(did you mean "mac"?)"}}},
    {R"({"mac": [{"type": "localFirewall"}], "windows": [{"type": "x"}]})",
     {{"windows", R"(is not read, only "mac" is: these checks are not run)",
       R"(move what is meant for "mac" there)"}}},
    {R"({"mac": [{"type": "localFirewall"}], "macos": [{"type": "x"}]})",
     {{"macos", R"(is not read, only "mac" is: these checks are not run)",
       R"(did you mean "mac"?)"}}},
    {R"({"MAC": {}, "mac": [{"type": "localFirewall"}]})",
     {{"MAC", "is not read", R"(did you mean "mac"?)"}}},
    {R"({"mac": [{"type": "localFirewall"}], "machine": [1], "a b\n": 1})",
     {{R"(["a b\n"])", "is not read", removeUnread}, {"machine", "is not read", removeUnread}}},
    {R"({"identity_param": ["device_id"], "mac": [{"type": "localFirewall"}]})",
     {{"identity_param", "is not read", R"(did you mean "identity_params"?)"}}},
    {R"({"identity_params": ["device_id"], "mac": [{"type": "x"}]})",
     {{"mac", R"(is not read, because there is "identity_params": these checks are not run)",
       "ask for checks and for identity values in two requests"}}},
    {R"({"mac": {"type": "localFirewall"}})",
     {{"mac", "is an object, not an array: the whole request is refused",
       R"(write a list: [{"type": "localFirewall"}])"}}},
    {R"({"mac": null})",
     {{"mac", "is null, not an array: the whole request is refused",
       R"(write a list: [{"type": "localFirewall"}])"}}},
    {R"({"mac": ["localFirewall"]})",
     {{"mac[0]", "is a string, not an object: the whole request is refused",
       R"(write {"type": "localFirewall"})"}}},
    {R"({"mac": [{"type": "localFirewall"}, true]})",
     {{"mac[1]", "is a boolean, not an object: the whole request is refused",
       R"(write an object such as {"type": "localFirewall"})"}}},
    {R"({"mac": [{"type": "localFirewall"}], "mac": [{"type": "localFirewall"}]})",
     {{"mac", "is given 2 times: only the last one counts", "keep one of them"}}},
    {R"({"mac": [{"type": "x", "type": "y", "type": "localFirewall"}]})",
     {{"mac[0].type", "is given 3 times: only the last one counts", "keep one of them"}}},
    {R"({"mac": [{"type": "anyProcessRunning",
                  "processes": [{"name": "SampleAgent"}, {"name": "a", "name": "b"}]}]})",
     {{"mac[0].processes[1].name", "is given 2 times: only the last one counts",
       "keep one of them"}}},
};

TEST(RequestLint, FindsWhatIsWrongWithTheDocument) {
    expectFindings(documentRows);
}

TEST(RequestLint, TellsWhyADocumentCannotBeRead) {
    const auto failureOf = [](std::string_view document) {
        std::string failure;
        EXPECT_EQ(findingsInDocument(document, macRules(), &failure), std::nullopt);
        return failure;
    };
    EXPECT_EQ(failureOf("[]"), "the request is not an object");
    EXPECT_EQ(failureOf("\"mac\""), "the request is not an object");
    EXPECT_EQ(failureOf("{\"mac\": ["),
              "parse error at line 1, column 10: syntax error while parsing value - unexpected end "
              "of input; expected '[', '{', or a literal");
    EXPECT_EQ(failureOf(std::string(513, '[')),
              "arrays and objects are nested deeper than 512 at byte 513");
}

// ---- entries

const std::vector<Row> entryRows = {
    {requestWith("{}"),
     {{"mac[0]", R"(has no "type": the entry is an error)", "add a \"type\": " + theTypes}}},
    {requestWith(R"({"version": "13"})"),
     {{"mac[0]", R"(has no "type": the entry is an error)",
       R"(add "type": "minimumOSVersion", to which "version" belongs)"}}},
    {requestWith(R"({"Type": "localFirewall"})"),
     {{"mac[0].Type", R"(is not read, and "type" is missing: the entry is an error)",
       R"(did you mean "type"?)"}}},
    {requestWith(R"({"type": 7, "comment": ""})"),
     {{"mac[0].type", "is a number, not a string: the entry is an error", theTypes}}},
    {requestWith(R"({"type": "LocalFirewall"})"),
     {{"mac[0].type", R"(is "LocalFirewall", which is not a check type: the entry is an error)",
       R"(did you mean "localFirewall"?)"}}},
    {requestWith(R"({"type": "minOSVersion", "version": 1})"),
     {{"mac[0].type", R"(is "minOSVersion", which is not a check type: the entry is an error)",
       R"(did you mean "minimumOSVersion"?)"}}},
    {requestWith(R"({"type": "screenLock\u001b"})"),
     {{"mac[0].type", R"(is "screenLock\u001b", which is not a check type: the entry is an error)",
       theTypes}}},
    {requestWith(R"({"type": "certificatePresent"})"),
     {{"mac[0]", R"(has no "sha1": the entry is an error)",
       R"(add "sha1", such as "sha1": "da39a3ee5e6b4b0d3255bfef95601890afd80709")"}}},
    {requestWith(R"({"type": "anyProcessRunning"})"),
     {{"mac[0]", R"(has no "processes": the entry is an error)",
       R"(add "processes", such as "processes": [{"name": "SampleAgent"}])"}}},
    {requestWith(R"({"type": "certificatePresent", "shal": "x"})"),
     {{"mac[0].shal", R"(is not read, and "sha1" is missing: the entry is an error)",
       R"(did you mean "sha1"?)"}}},
    {requestWith(R"({"type": "minimumOSVersion", "version": "13", "versions": []})"),
     {{"mac[0].versions", "is not read", R"(did you mean "version"?)"}}},
    {requestWith(R"({"type": "minimumOSVersion", "version": "13", "comment": ""})"),
     {{"mac[0].comment", "is not read", removeUnread}}},
    {requestWith(R"({"type": "minimumOSVersion", "version": "13", "names": ["*"]})"),
     {{"mac[0].names", "is a parameter of joinedToDomain, not of minimumOSVersion: it is ignored",
       R"(move it to an entry of the type "joinedToDomain")"}}},
    {requestWith(R"({"type": "localFirewall", "enabled": true})"),
     {{"mac[0].enabled", "is ignored: localFirewall takes no parameters", removeUnread}}},
    {requestWith(R"({"type": "fullDiskEncryption", "version": "13"})"),
     {{"mac[0].version",
       "is a parameter of minimumOSVersion, not of fullDiskEncryption: it is ignored",
       R"(move it to an entry of the type "minimumOSVersion")"}}},
    {requestWith(R"({"type": "localFirewall", "Type": "x"})"),
     {{"mac[0].Type", "is not read", R"(did you mean "type"?)"}}},
    {requestWith(R"({"type": "localFirewall", "pass": true, "error": ""})"),
     {{"mac[0].error",
       "stays in the result where the check passes or fails, and looks like an error", "remove it"},
      {"mac[0].pass",
       "stays in the result where the check ends in an error, and looks like its answer",
       "remove it"}}},
    {requestWith(R"({"type": "screenLock", "pass": true})"),
     {{"mac[0].type", R"(is "screenLock", which is not a check type: the entry is an error)",
       theTypes},
      {"mac[0].pass",
       "stays in the result where the check ends in an error, and looks like its answer",
       "remove it"}}},
    {requestWith(R"({"type": "minimumOSVersion", "version": "13"}, {"type": "localFirewall"},
                    {"version": "13", "type": "minimumOSVersion"})"),
     {{"mac[2]", "repeats mac[0]: the check is run twice", "remove one of them"}}},
};

TEST(RequestLint, FindsWhatIsWrongWithAnEntry) {
    expectFindings(entryRows);
}

// ---- certificatePresent

Row fingerprintRow(const std::string& value, const std::string& problem,
                   const std::string& advice = "write the SHA-1 fingerprint: 40 hexadecimal "
                                               "digits") {
    return {requestWith(R"({"type": "certificatePresent", "sha1": )" + value + "}"),
            {{"mac[0].sha1", problem, advice}}};
}

const std::string noBytes = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
const std::string fingerprintCommand =
    "write the SHA-1 fingerprint: openssl x509 -noout -fingerprint -sha1 -in FILE, without colons";
const std::string anythingElse =
    ": with anything but hexadecimal digits and spaces, no certificate matches";

const std::vector<Row> fingerprintRows = {
    fingerprintRow(R"("DA:39:A3:EE:5E:6B:4B:0D:32:55:BF:EF:95:60:18:90:AF:D8:07:09")",
                   "contains colons" + anythingElse, "write \"" + noBytes + "\""),
    fingerprintRow(R"("da39a3ee-5e6b4b0d-3255bfef-95601890-afd80709")",
                   "contains hyphens" + anythingElse, "write \"" + noBytes + "\""),
    fingerprintRow("\"\\t" + noBytes + "\\r\\n\"", "contains tabs and line breaks" + anythingElse,
                   "write \"" + noBytes + "\""),
    fingerprintRow("\"\u200E" + noBytes + "\u00A0\"",
                   R"(contains "\u200e" and no-break spaces)" + anythingElse,
                   "write \"" + noBytes + "\""),
    fingerprintRow("\"0x" + noBytes + "\"", R"(contains "x")" + anythingElse),
    fingerprintRow(R"("SHA1 Fingerprint=DA")",
                   R"(contains "s", "h", "i" and others)" + anythingElse),
    fingerprintRow("\"" + noBytes + "12345678 9012345678901234\"",
                   "has 64 digits, like a fingerprint of SHA-256: no certificate matches",
                   fingerprintCommand),
    fingerprintRow(R"("d41d8cd98f00b204e9800998ecf8427e")",
                   "has 32 digits, like a fingerprint of MD5: no certificate matches",
                   fingerprintCommand),
    fingerprintRow("\"" + noBytes.substr(1) + "\"",
                   "has 39 digits, not 40: no certificate matches"),
    fingerprintRow("\"\"", "is empty: no certificate matches"),
    fingerprintRow("\"  \"", "is empty: no certificate matches"),
    fingerprintRow("7", R"(is a number, not a string: the entry is an error ("sha1 is not a )"
                        R"(string"))"),
    {requestWith(R"({"type": "certificatePresent", "sha1": "d4:1d:8c:d9:8f:00:b2:04"})"),
     {{"mac[0].sha1", "contains colons" + anythingElse,
       "write the SHA-1 fingerprint: 40 hexadecimal digits"},
      {"mac[0].sha1", "has 16 digits, not 40: no certificate matches",
       "write the SHA-1 fingerprint: 40 hexadecimal digits"}}},
};

TEST(RequestLint, FindsWhatIsWrongWithAFingerprint) {
    expectFindings(fingerprintRows);
}

// ---- joinedToDomain

const std::string wantedPattern = R"(write the domain, such as "*.sample.test")";

Row patternsRow(const std::string& value, const std::string& place, const std::string& problem,
                const std::string& advice = wantedPattern) {
    return {requestWith(R"({"type": "joinedToDomain", "names": )" + value + "}"),
            {{"mac[0].names" + place, problem, advice}}};
}

Row refusedPatternRow(const std::string& value, const std::string& characters,
                      const std::string& advice) {
    return patternsRow("[" + value + "]", "[0]",
                       "contains " + characters +
                           ", which a pattern cannot contain: it matches no domain",
                       advice);
}

const std::string alone = "write each pattern as its own list element";
const std::string noExpression = "a pattern is no regular expression: its dots are literal, and it "
                                 "is searched for anywhere in the domain";

const std::vector<Row> patternRows = {
    patternsRow("[]", "", "is empty: no machine passes",
                R"(list a pattern, such as "*.sample.test")"),
    patternsRow(
        R"("*.corp.test")", "",
        R"(is a string, not an array: on a machine that is bound to a domain, the entry is )"
        R"(an error ("names is not an array"))",
        R"(write a list: ["*.corp.test"])"),
    patternsRow("{}", "",
                R"(is an object, not an array: on a machine that is bound to a domain, the entry )"
                R"(is an error ("names is not an array"))",
                R"(write a list: ["*.sample.test"])"),
    patternsRow(
        "[7]", "[0]",
        R"(is a number, not a string: on a machine that is bound to a domain, the entry is )"
        R"(an error ("names[0] is not a string"))"),
    patternsRow(R"(["*.other.test", null])", "[1]",
                R"(is null, not a string: on a machine that is bound to a domain that no pattern )"
                R"(before it matches, the entry is an error ("names[1] is not a string"))"),
    patternsRow(R"([""])", "[0]", "is empty: it matches no domain"),
    patternsRow(R"(["*"])", "[0]", "matches every domain"),
    patternsRow(R"(["***"])", "[0]", "matches every domain"),
    patternsRow(R"(["*.*"])", "[0]",
                "has no letter or digit: it matches every domain that contains these characters"),
    patternsRow(
        R"(["sample"])", "[0]",
        "has no dot, and is found anywhere in a domain: it matches domains of any organisation"),
    refusedPatternRow(R"("corp?.sample.test")", R"("?")",
                      R"("*" matches any run of characters; no wildcard matches a single one)"),
    refusedPatternRow(R"("^corp\\.sample\\.test$")", R"("^", "\" and "$")", noExpression),
    refusedPatternRow(R"("corp.sample.test, eu.sample.test")", R"("," and spaces)", alone),
    refusedPatternRow(R"("corp.sample.test ")", "spaces", alone),
    refusedPatternRow(R"("corp.sample.test\n")", "line breaks", alone),
    refusedPatternRow(R"("ldap://corp.sample.test")", R"(colons and "/")",
                      "write the domain alone, without a user, a scheme or a port"),
    refusedPatternRow(R"("corp.sample.test€")", R"("€")",
                      R"(write letters, digits, ".", "-", "_" and "*" alone)"),
    patternsRow(R"(["*.other.test", "*.OTHER.test"])", "[1]",
                "repeats mac[0].names[0], ignoring case", "remove one of them"),
};

TEST(RequestLint, FindsWhatIsWrongWithADomainPattern) {
    expectFindings(patternRows);
}

// ---- anyProcessRunning

Row processesRow(const std::string& value, const std::string& place, const std::string& problem,
                 const std::string& advice) {
    return {requestWith(R"({"type": "anyProcessRunning", "processes": )" + value + "}"),
            {{"mac[0].processes" + place, problem, advice}}};
}

Row nameRow(const std::string& name, const std::string& problem,
            const std::string& advice = "write the bare name of the executable, as the process "
                                        "listing shows it") {
    return processesRow("[{\"name\": \"" + name + "\"}]", "[0].name", problem, advice);
}

Row signerRow(const std::string& signer, const std::string& problem, const std::string& advice) {
    return processesRow(R"([{"name": "SampleAgent", "signingCertificateSubjectOU": )" + signer +
                            "}]",
                        "[0].signingCertificateSubjectOU", problem, advice);
}

const std::string signerAdvice =
    R"(write the OU, such as "TEAM42"; without this key any signer passes)";
const std::string bareSigner = R"(write the OU alone, such as "TEAM42")";
const std::string bareNames = "the process listing shows bare names, so it selects no process";

const std::vector<Row> processRows = {
    processesRow("[]", "", "is empty: no machine passes",
                 R"(list a process, such as {"name": "SampleAgent"})"),
    processesRow(R"({"name": "SampleAgent"})", "",
                 R"(is an object, not an array: the entry is an error ("processes is not an )"
                 R"(array"))",
                 R"(write a list: [{"name": "SampleAgent"}])"),
    processesRow(R"(["Finder"])", "[0]",
                 R"(is a string, not an object: the entry is an error ("processes[0] is not an )"
                 R"(object"))",
                 R"(write {"name": "Finder"})"),
    processesRow(R"([{"name": "none"}, 7])", "[1]",
                 "is a number, not an object: unless a process before it passes, the entry is an "
                 R"(error ("processes[1] is not an object"))",
                 R"(write {"name": "SampleAgent"})"),
    processesRow("[{}]", "[0]",
                 R"(has no "name": the entry is an error ("Process name missing from process )"
                 R"(running check."))",
                 R"(add "name", such as "name": "SampleAgent")"),
    processesRow(R"([{"name": "none"}, {"Name": "Finder"}])", "[1].Name",
                 R"(is not read, and "name" is missing: unless a process before it passes, the )"
                 R"(entry is an error ("Process name missing from process running check."))",
                 R"(did you mean "name"?)"),
    processesRow(R"([{"name": ["Finder"]}])", "[0].name",
                 R"(is an array, not a string: the entry is an error ("processes[0].name is not a )"
                 R"(string"))",
                 "write the bare name of the executable, as the process listing shows it"),
    processesRow(R"([{"name": "SampleAgent", "signingCertificateSubjectOu": "T"}])",
                 "[0].signingCertificateSubjectOu", "is not read",
                 R"(did you mean "signingCertificateSubjectOU"?)"),
    processesRow(R"([{"name": "SampleAgent", "type": "T"}])", "[0].type", "is not read",
                 removeUnread),
    nameRow("", "is empty: it selects no process"),
    nameRow("Sample\\nAgent", "contains a line break: it selects no process"),
    nameRow("/usr/libexec/SampleAgent", "contains a \"/\": " + bareNames, R"(write "SampleAgent")"),
    nameRow("/Applications/Sample.app/", "contains a \"/\": " + bareNames,
            R"(write the name of the bundle's executable, often "Sample")"),
    nameRow("//", "contains a \"/\": " + bareNames),
    nameRow("SampleAgent ", "ends in white space: it selects no process, unless the name does too"),
    nameRow("Sample.app", R"(ends in ".app": the process listing shows executables, not bundles)",
            R"(write the name of the bundle's executable, often "Sample")"),
    nameRow("Cmd", "matches the end of the heading of the process listing: it is always found",
            "write the whole name of the executable"),
    nameRow("d", "matches the end of the heading of the process listing: it is always found",
            "write the whole name of the executable"),
    signerRow("null",
              "is null, not a string: where the process runs and has a signer, the entry is an "
              R"(error ("processes[0].signingCertificateSubjectOU is not a string"))",
              signerAdvice),
    signerRow("\"\"", "is empty: only a certificate with an empty OU passes", signerAdvice),
    signerRow("\"TEAM/42\"", R"(contains a "/": the OU found ends before one, so no signer passes)",
              bareSigner),
    signerRow("\"OU=TEAM42\"", R"(begins with "OU=": it is compared with the bare value)",
              R"(write "TEAM42")"),
    signerRow("\"TEAM42 \"", "begins or ends with a space, which counts", bareSigner),
    processesRow(R"([{"name": "none", "signingCertificateSubjectOU": "A"},
                     {"name": "SampleAgent", "signingCertificateSubjectOU": "TEAM42"}])",
                 "[1].signingCertificateSubjectOU",
                 "is not checked once mac[0].processes[0] was found with another signer",
                 "of all processes with a signer only the first one found is examined: list the "
                 "one that is to decide first, or leave the other signers out"),
    processesRow(R"([{"name": "SampleAgent", "signingCertificateSubjectOU": "TEAM42"},
                     {"name": "agent"}])",
                 "[0].signingCertificateSubjectOU",
                 "has no effect: mac[0].processes[1] finds the same process, whoever signed it",
                 "give both a signer, or remove one of them"),
    processesRow(R"([{"name": "SampleAgent"}, {"name": "sampleagent"}])", "[1]",
                 "repeats mac[0].processes[0]", "remove one of them"),
};

TEST(RequestLint, FindsWhatIsWrongWithAProcess) {
    expectFindings(processRows);
}

// ---- minimumOSVersion

Row versionRow(const std::string& value, const std::string& problem, const std::string& advice) {
    return {requestWith(R"({"type": "minimumOSVersion", "version": )" + value + "}"),
            {{"mac[0].version", problem, advice}}};
}

const std::string numbersAndDots = R"(write numbers and dots, such as "14.5")";

const std::vector<Row> versionRows = {
    versionRow("14",
               R"(is a number, not a string: the entry is an error ("Invalid version type in OS )"
               R"(version check."))",
               R"(write the version in quotes, such as "14.5")"),
    versionRow(R"("")", "is empty: every version passes", numbersAndDots),
    versionRow(R"("10.15.0")",
               R"(ends in ".0": "10.15" itself fails, because it orders before "10.15.0")",
               R"(write "10.15")"),
    versionRow(R"("13.0.0.0")",
               R"(ends in ".0": "13.0" itself fails, because it orders before "13.0.0.0")",
               R"(write "13.0")"),
    versionRow(R"(" 14.5")", "begins with spaces, not with a digit: every version passes",
               R"(write "14.5")"),
    versionRow(R"("v12")", R"(begins with "v", not with a digit: no version passes)",
               R"(write "12")"),
    versionRow(R"("macOS 12.3")", R"(begins with "m", not with a digit: no version passes)",
               R"(write "12.3")"),
    versionRow(R"("Ventura")", R"(begins with "V", not with a digit: no version passes)",
               numbersAndDots),
    versionRow(R"("１２")", R"(begins with "１", not with a digit: no version passes)",
               numbersAndDots),
    versionRow(R"("14.5 ")",
               R"(contains spaces after "14.5": "14.5" itself fails, although "14.5.1" passes)",
               R"(write "14.5")"),
    versionRow(R"("12.x")", R"(contains "x" after "12": "12" itself fails, and so does "12.1")",
               R"(write "12")"),
    versionRow(R"("12x")", R"(contains "x" after "12": "12" itself fails, and so does "12.1")",
               R"(write "12")"),
    versionRow(R"("12.*")", R"(contains "*" after "12": "12" itself fails, although "12.1" passes)",
               R"(write "12")"),
    versionRow(R"("12.3-beta")",
               R"(contains hyphens after "12.3": "12.3" itself fails, although "12.3.1" passes)",
               R"(write "12.3")"),
    versionRow(R"("12.")", R"(contains "." after "12": "12" itself fails, although "12.1" passes)",
               R"(write "12")"),
    versionRow(R"("12..1")",
               R"(contains "." after "12": "12" itself fails, although "12.1" passes)",
               R"(write "12")"),
};

TEST(RequestLint, FindsWhatIsWrongWithAVersion) {
    expectFindings(versionRows);
}

// ---- identity values

const std::vector<Row> identityRows = {
    {R"({"identity_params": null})",
     {{"identity_params", "is null, not an array: the whole request is refused",
       R"(write a list: ["device_serial_number", "device_id"])"}}},
    {R"({"identity_params": []})",
     {{"identity_params", "is empty: no value is returned",
       "list device_serial_number, device_id or both"}}},
    {R"({"identity_params": ["device_id", 7]})",
     {{"identity_params[1]", "is a number, not a string: the whole request is refused",
       "the identity values are device_serial_number and device_id"}}},
    {R"({"identity_params": ["deviceID"]})",
     {{"identity_params[0]", R"(is "deviceID", which is ignored)",
       R"(did you mean "device_id"?)"}}},
    {R"({"identity_params": ["hostname"]})",
     {{"identity_params[0]", R"(is "hostname", which is ignored)",
       "the identity values are device_serial_number and device_id"}}},
    {R"({"identity_params": ["device_id", "Device_ID"]})",
     {{"identity_params[1]", "repeats identity_params[0]: the value is read twice",
       "remove one of them"}}},
};

TEST(RequestLint, FindsWhatIsWrongWithIdentityValues) {
    expectFindings(identityRows);
}

// ---- what is in order

TEST(RequestLint, LeavesGoodRequestsAlone) {
    for (const char* entry : {
             R"({"type": "localFirewall"})",
             R"({"type": "fullDiskEncryption"})",
             R"({"type": "certificatePresent",
                 "sha1": "DA 39 A3 EE 5E 6B 4B 0D 32 55 BF EF 95 60 18 90 AF D8 07 09"})",
             R"({"type": "joinedToDomain", "names": ["*.sample.test", "CORP_1.sample-2.test"]})",
             R"({"type": "joinedToDomain", "names": ["münchen.sample.test"]})",
             R"({"type": "minimumOSVersion", "version": "10.15.7"})",
             R"({"type": "minimumOSVersion", "version": "12.0"})",
             R"({"type": "minimumOSVersion", "version": "14.0.1"})",
             R"({"type": "minimumOSVersion", "version": "010"})",
             R"({"type": "anyProcessRunning", "processes": [
                 {"name": "Sample Agent", "signingCertificateSubjectOU": "TEAM42"},
                 {"name": "other"}, {"name": "applications.d.agent"}]})",
         }) {
        EXPECT_EQ(textsIn(requestWith(entry)), Findings()) << entry;
    }
    EXPECT_EQ(textsIn(R"({"identity_params": ["Device_Serial_Number", "device_id"]})"), Findings());
}

TEST(RequestLint, FindsTheMistakesOfTheExamples) {
    const std::map<std::string, Findings> deliberate = {
        {"minimum-os-version.json",
         {{"mac[2].comment", "is not read", removeUnread},
          {"mac[3].version",
           R"(is a number, not a string: the entry is an error ("Invalid version type in OS )"
           R"(version check."))",
           R"(write the version in quotes, such as "14.5")"},
          {"mac[4]", R"(has no "version": the entry is an error)",
           R"(add "version", such as "version": "14.5")"}}}};
    std::size_t seen = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(VEL_SOURCE_DIRECTORY "/Examples/Requests")) {
        const auto expected = deliberate.find(file.path().filename().string());
        EXPECT_EQ(textsIn(contentOf(file.path())),
                  expected == deliberate.end() ? Findings() : expected->second)
            << file.path();
        ++seen;
    }
    EXPECT_GE(seen, 3U);
}

TEST(RequestLint, KnowsEveryParameterOfTheCatalogue) {
    std::vector<std::pair<std::string, std::string>> required;
    for (const auto& [type, check] : macRules().catalogue) {
        for (const std::string& name :
             check->requiredParameters().value_or(std::vector<std::string>())) {
            required.emplace_back(type, name);
        }
    }
    std::vector<std::pair<std::string, std::string>> known;
    for (const ParameterRules& row : parameterRules()) {
        known.emplace_back(row.type, row.parameter);
    }
    EXPECT_EQ(known, required);
}

TEST(RequestLint, GivesExamplesThatAreInOrder) {
    for (const ParameterRules& row : parameterRules()) {
        if (row.type != "perDeviceCertificatePresent") {
            const std::string entry = R"({"type": ")" + std::string(row.type) + R"(", ")" +
                                      std::string(row.parameter) +
                                      "\": " + std::string(row.example) + "}";
            EXPECT_EQ(textsIn(requestWith(entry)), Findings()) << entry;
        }
    }
}

// ---- what the findings claim

/// The text that a problem quotes as the entry's error, if it quotes one.
std::optional<std::string> errorQuotedIn(const std::string& problem) {
    const std::size_t start = problem.find("(\"");
    if (start == std::string::npos || !problem.ends_with("\")")) {
        return std::nullopt;
    }
    return problem.substr(start + 2, problem.size() - start - 4);
}

std::size_t indexOfEntry(const Finding& finding) {
    return static_cast<std::size_t>(std::stoul(finding.place.substr(sizeof("mac[") - 1)));
}

std::vector<Row> allRows() {
    std::vector<Row> rows;
    for (const auto* table : {&documentRows, &entryRows, &fingerprintRows, &patternRows,
                              &processRows, &versionRows, &identityRows}) {
        rows.insert(rows.end(), table->begin(), table->end());
    }
    return rows;
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(RequestLint, TheLibraryErrsAsAFindingSays) {
    std::size_t quoted = 0;
    for (const Row& row : allRows()) {
        const VELValue result = resultOn(boundMac(), row.request);
        for (const Finding& finding : row.findings) {
            if (holds(finding.problem, "the whole request is refused")) {
                ASSERT_EQ(result.size(), 1U) << row.request;
                EXPECT_TRUE(
                    result.at("error").get<std::string>().starts_with(finding.place + " is "))
                    << result;
            } else if (holds(finding.problem, "the entry is an error")) {
                const VELValue& entry = result.at("checks").at(indexOfEntry(finding));
                const auto error = errorQuotedIn(finding.problem);
                EXPECT_TRUE(entry.contains("error")) << row.request;
                EXPECT_EQ(entry.value("error", ""), error.value_or(entry.value("error", "")));
                quoted += error ? 1U : 0U;
            }
        }
    }
    EXPECT_EQ(quoted, 13U);
}

TEST(RequestLint, TheLibraryAnswersAsAFindingSays) {
    const std::vector<std::pair<std::string, bool>> claims = {
        {"no certificate matches", false}, {"it matches no domain", false},
        {"no machine passes", false},      {"it selects no process", false},
        {"no signer passes", false},       {"no version passes", false},
        {"every version passes", true},    {"matches every", true},
        {"it is always found", true},      {"has no effect", true}};
    std::map<std::string, unsigned> seen;
    for (const Row& row : allRows()) {
        for (const auto& [claim, passes] : claims) {
            if (holds(row.findings.front().problem, claim)) {
                const VELValue result = resultOn(boundMac(), row.request);
                EXPECT_EQ(result.at("pass"), passes) << row.request << result;
                ++seen[claim];
            }
        }
        if (holds(row.findings.front().problem, "nothing is checked, and the request passes")) {
            const VELValue result = resultOn(boundMac(), row.request);
            EXPECT_EQ(result.at("pass"), true);
            EXPECT_EQ(result.at("checks"), VELValue::array());
        }
    }
    EXPECT_EQ(seen.size(), claims.size());
}

TEST(RequestLint, TheVersionsNamedFailAndPassAsAFindingSays) {
    std::size_t seen = 0;
    for (const Row& row : versionRows) {
        const std::string& problem = row.findings.front().problem;
        const std::size_t end = problem.find("\" itself fails");
        if (end == std::string::npos) {
            continue;
        }
        const std::size_t start = problem.rfind('"', end - 1) + 1;
        const std::string own = problem.substr(start, end - start);
        const auto platform = boundMac();
        platform->productVersionRecord = own;
        EXPECT_EQ(resultOn(platform, row.request).at("pass"), false) << problem;
        platform->productVersionRecord = own + ".1";
        EXPECT_EQ(resultOn(platform, row.request).at("pass"), !holds(problem, "and so does"))
            << problem;
        ++seen;
    }
    EXPECT_EQ(seen, 9U);
}

TEST(RequestLint, TellsWhereAndHowBad) {
    const std::string document = "\xEF\xBB\xBF{ \"mac\" : [\n"
                                 "  {\"type\": \"x\\\"]\", \"id\": [1, {\"a\": -2.5e3}]},\n"
                                 "  {\"title\": \"é\", \"type\": \"minimumOSVersion\"},\n"
                                 "  {\"type\": \"joinedToDomain\", \"names\": [\"a.b\", \"\"],\n"
                                 "   \"names\": [\"*.b\", \"c\"]}], \"ключ\": true}";
    struct Where {
        std::string place;
        std::string code;
        std::size_t line;
        std::size_t column;
        bool operator==(const Where&) const = default;
    };
    std::vector<Where> found;
    for (const Finding& finding : findingsIn(document)) {
        found.push_back(
            {finding.place, std::string(finding.rule.code), finding.line, finding.column});
    }
    const std::vector<Where> expected = {{"mac[2].names", "duplicate-key", 5, 4},
                                         {"[\"ключ\"]", "unread-key", 5, 29},
                                         {"mac[0].type", "unknown-type", 2, 4},
                                         {"mac[1]", "missing-key", 3, 3},
                                         {"mac[2].names[1]", "broad-pattern", 5, 21}};
    EXPECT_TRUE(found == expected);
    for (const Where& each : found) {
        SCOPED_TRACE(each.place + " " + each.code + " " + std::to_string(each.line) + ":" +
                     std::to_string(each.column));
        EXPECT_NE(std::find(expected.begin(), expected.end(), each), expected.end());
    }
    EXPECT_EQ(findingsIn("{}").front().line, 1U);
    EXPECT_EQ(findingsIn("\xEF\xBB\xBF {}").front().column, 2U);
}

TEST(RequestLint, AnErrorIsWhatCanNeverDoWhatItSays) {
    const auto ruleOf = [](const std::string& document) {
        return findingsIn(document).front().rule;
    };
    EXPECT_EQ(ruleOf(R"({"Mac": [{"type": "localFirewall"}]})"), rule::misnamedChecks);
    EXPECT_EQ(rule::misnamedChecks.severity, Severity::error);
    EXPECT_EQ(ruleOf("{}"), rule::noChecks);
    EXPECT_EQ(ruleOf(R"({"mac": 1})"), rule::refusedRequest);
    EXPECT_EQ(ruleOf(R"({"mac": [{"type": "localFirewall"}], "windows": [{"type": "x"}]})"),
              rule::otherPlatform);
    EXPECT_EQ(rule::otherPlatform.severity, Severity::note);
    EXPECT_EQ(ruleOf(requestWith(R"({"type": "certificatePresent", "sha1": "ab"})")),
              rule::neverPasses);
    EXPECT_EQ(ruleOf(requestWith(R"({"type": "joinedToDomain", "names": ["*"]})")),
              rule::alwaysPasses);
    EXPECT_EQ(rule::alwaysPasses.severity, Severity::warning);
}

/// What an error says of a value holds: on no described Mac does such an entry pass.
TEST(RequestLint, NoEntryWithAnErrorPasses) {
    std::size_t errors = 0;
    for (const auto* table : {&fingerprintRows, &versionRows}) {
        for (const Row& row : *table) {
            const Findings findings = findingsIn(row.request);
            if (findings.front().rule.severity == Severity::error) {
                EXPECT_EQ(resultOn(boundMac(), row.request).at("pass"), false) << row.request;
                ++errors;
            }
        }
    }
    EXPECT_GT(errors, 5U);
}

TEST(RequestLint, GoodExamplesAreClean) {
    for (const char* name : {"all-checks", "identity", "posture"}) {
        const std::string path =
            std::string(VEL_SOURCE_DIRECTORY "/Examples/Requests/") + name + ".json";
        EXPECT_EQ(findingsIn(contentOf(path)), Findings()) << name;
    }
}

/// Requests of good and bad parts, put together by chance.
class RequestMaker {
public:
    explicit RequestMaker(unsigned seed) : _random(seed) {}

    std::string request() {
        std::string entries;
        for (std::size_t left = 1 + pick(3); left > 0; --left) {
            entries += (entries.empty() ? "" : ", ") + entry();
        }
        return requestWith(entries);
    }

private:
    std::size_t pick(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(_random);
    }

    std::string one(const std::vector<std::string>& texts) { return texts[pick(texts.size())]; }

    std::string value() {
        return one({"\"12.0\"", "\"" + noBytes + "\"", "[\"*.sample.test\"]", "[\"a.b\", 7]",
                    "[{\"name\": \"SampleAgent\"}]",
                    "[{\"name\": \"a\", \"signingCertificateSubjectOU\": \"TEAM42\"}]",
                    "[{\"name\": \"SampleAgent\", \"signingCertificateSubjectOU\": \"OTHER\"}]",
                    "[{\"name\": \"none\"}, 7]", "[{\"name\": \"none\"}, {}]", "null", "7", "{}",
                    "[]", "\"\"", "[{\"name\": \"none\"}, {\"name\": null}]"});
    }

    std::string entry() {
        static const std::vector<std::pair<std::string, std::string>> types = {
            {"localFirewall", ""},
            {"fullDiskEncryption", ""},
            {"certificatePresent", "sha1"},
            {"joinedToDomain", "names"},
            {"minimumOSVersion", "version"},
            {"anyProcessRunning", "processes"},
            {"perDeviceCertificatePresent", "cert"},
            {"localfirewall", ""}};
        const auto& [type, parameter] = types[pick(types.size())];
        std::string text = "{\"type\": \"" + type + "\"";
        if (!parameter.empty() && pick(8) != 0) {
            text += ", \"" + parameter + "\": " + value();
        }
        if (pick(8) == 0) {
            text += ", \"" + one({"sha1", "names", "version", "Sha1"}) + "\": " + value();
        }
        return text + "}";
    }

    std::mt19937 _random;
};

TEST(RequestLint, WhatItFindsInOrderMeetsNoErrorOfItsParameters) {
    RequestMaker maker(20'240'601);
    std::map<std::string, unsigned> clean;
    for (unsigned count = 0; count < 5'000; ++count) {
        const std::string request = maker.request();
        if (!findingsIn(request).empty()) {
            continue;
        }
        const VELValue result = resultOn(boundMac(), request);
        for (const VELValue& entry : result.at("checks")) {
            const std::string error = entry.value("error", "");
            // A process with another signer, a firewall and disks that are not there.
            EXPECT_TRUE(error.empty() || error.starts_with("Process \"SampleAgent\" was found"))
                << request << error;
            ++clean[entry.at("type").get<std::string>()];
        }
    }
    EXPECT_EQ(clean.size(), 6U);
    for (const auto& [type, count] : clean) {
        EXPECT_GE(count, 10U) << type;
    }
}

// ---- what a request may hold

TEST(RequestLint, ShowsNothingThatSteersATerminal) {
    const std::string text = R"(\u001b]0;x\u0007\u009b2J\n)";
    for (const std::string& request :
         {"{\"" + text + "\": 1, \"" + text + "\": 1, \"mac\": []}",
          requestWith("{\"type\": \"" + text + "\"}"),
          requestWith(R"({"type": "certificatePresent", "sha1": ")" + text + "\"}"),
          requestWith(R"({"type": "joinedToDomain", "names": [")" + text + "\"]}"),
          requestWith(R"({"type": "joinedToDomain", "names": ")" + text + "\"}"),
          requestWith(R"({"type": "minimumOSVersion", "version": ")" + text + "\"}"),
          requestWith(R"({"type": "perDeviceCertificatePresent", "cert": ")" + text + "\"}"),
          requestWith(R"({"type": "anyProcessRunning", "processes": [")" + text + "\"]}"),
          requestWith(R"({"type": "anyProcessRunning", "processes": [{"name": "/a/)" + text +
                      "\"}]}")}) {
        const Findings findings = findingsIn(request);
        EXPECT_FALSE(findings.empty()) << request;
        for (const Finding& finding : findings) {
            for (const std::string& part : {finding.place, finding.problem, finding.advice}) {
                EXPECT_EQ(part, printable(part));
            }
        }
    }
}

TEST(RequestLint, StaysShortWhateverTheRequestHolds) {
    const std::string name(100'000, 'x');
    const std::string marks = [] {
        std::string text;
        for (unsigned count = 0; count < 100'000; ++count) {
            text += "\u0301";
        }
        return text;
    }();
    for (const std::string& text : {name, marks}) {
        for (const std::string& request :
             {"{\"mac\": [], \"" + text + "\": {\"a\": 1, \"a\": 2}}",
              requestWith("{\"type\": \"" + text + "\"}"),
              requestWith(R"({"type": "minimumOSVersion", "version": ")" + text + "\"}")}) {
            for (const Finding& finding : findingsIn(request)) {
                EXPECT_LT(finding.place.size() + finding.problem.size(), 2000U);
            }
        }
    }
}

TEST(RequestLint, CutsDeepPlacesShort) {
    const std::string deep = std::string(500, '[') + R"({"a": 1, "a": 2})" + std::string(500, ']');
    const Findings findings =
        findingsIn(R"({"mac": [{"type": "localFirewall"}], "x": )" + deep + "}");
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].place, "x[0][0][0][0][0][0][0]…");
}

TEST(RequestLint, CountsTheFindingsThatItDoesNotKeep) {
    std::string entries = "0";
    for (unsigned count = 1; count < 1003; ++count) {
        entries += ",0";
    }
    const Findings findings = findingsIn(requestWith(entries));
    ASSERT_EQ(findings.size(), 1001U);
    EXPECT_EQ(findings[999].place, "mac[999]");
    EXPECT_EQ(findings[1000],
              (Finding{"the request", "has 3 more findings",
                       "fix those listed, then run lint again", rule::moreFindings, 1, 1}));
}

} // namespace
