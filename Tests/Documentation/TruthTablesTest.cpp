// SPDX-License-Identifier: Apache-2.0
#include "Tests/Documentation/MarkdownDocument.h"

#include "Base/VELBase64.h"
#include "Base/VELJSON.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Documentation/DocumentedCertificates.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/RegularExpression.h"
#include "Tests/Support/StatusFile.h"
#include "Tests/Tools/DescribedCommands.h"
#include "Tools/vel-posture/check/PrometheusReport.h"
#include "Tools/vel-posture/check/ResultReport.h"
#include "Tools/vel-posture/explain/ExplainedEntry.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

/// Runs the tables and requests of the pages for administrators through the checks, on described
/// Macs.

namespace {

using Row = std::vector<std::string>;

constexpr const char* firewallTool = "/usr/libexec/ApplicationFirewall/socketfilterfw";

/// The JSON value in a cell; nullopt if the cell says in words that there is none.
std::optional<VELValue> valueOfCell(const std::string& cell) {
    if (cell == "(absent)" || cell == "(not bound)") {
        return std::nullopt;
    }
    return VELValue::parse(codeOfCell(cell));
}

VELValue presentValueOfCell(const std::string& cell) {
    return valueOfCell(cell).value();
}

VELDictionary entryOf(const std::string& type, VELDictionary parameters) {
    parameters["type"] = type;
    return parameters;
}

class AdministratorPages : public testing::Test {
public:
    /// The answer of the check to a row of its table.
    std::string versionRow(const Row& row);
    std::string patternRow(const Row& row);
    std::string fingerprintRow(const Row& row);
    std::string processRow(const Row& row);
    std::string stateRow(const Row& row);
    std::string volumeRow(const Row& row);
    std::string firewallRow(const Row& row);
    std::string certificateTextRow(const Row& row);
    std::string keychainRow(const Row& row);

protected:
    AdministratorPages() { freshMac(); }
    ~AdministratorPages() override { VELDTLogger::setLogger(nullptr); }

    void freshMac() { mac = std::make_shared<VELSimulatedPlatform>(); }

    [[nodiscard]] VELValue run(const std::string& request) const {
        return resultOf(*VELPlatformRunnerFactory::macPostureCheckRunner(logger, mac), request);
    }

    [[nodiscard]] VELValue runEntry(const VELDictionary& entry) const {
        return run(VELValue({{"mac", {entry}}}).dump())["checks"][0];
    }

    [[nodiscard]] std::string outcome(const VELDictionary& entry) {
        explained = runExplained(entry, mac);
        const VELValue result = runEntry(entry);
        if (result.contains("error")) {
            return "error";
        }
        return result["pass"].get<bool>() ? "pass" : "fail";
    }

    void answer(std::vector<std::string> command, std::string output, std::int32_t status = 0) {
        VELSimulatedRun tool;
        tool.command = std::move(command);
        tool.output = std::move(output);
        tool.status = status;
        mac->tools.push_back(std::move(tool));
    }

    void listProcesses(const std::string& output) { answer({"/bin/ps", "-axc"}, output); }

    void bindTo(const std::string& domain) {
        const VELValue binding = {{"General Info", {{"Active Directory Domain", domain}}}};
        answer({"/usr/sbin/dsconfigad", "-show", "-xml"}, propertyListXML(binding));
    }

    void addTool(const std::string& does);
    void mount(const Row& row);

    void verifyParameters(const MarkdownTable& table) const;
    [[nodiscard]] const MarkdownTable& table(const Row& heading) const;

    void provoke(const VELDictionary& entry);
    void provokeToolErrors();
    void provokeParameterErrors();
    void provokeStateErrors();
    void provokeTrustErrors();

    const MarkdownDocument document =
        MarkdownDocument::read({"Documentation/requests.md", "Documentation/checks.md",
                                "Documentation/errors.md", "Documentation/running.md"});
    const std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::shared_ptr<VELSimulatedPlatform> mac;
    std::optional<DocumentedCertificates> certificates;
    std::set<std::string> provoked;
    /// Of the last row.
    std::optional<ExplainedEntry> explained;
};

std::string AdministratorPages::versionRow(const Row& row) {
    if (const auto version = valueOfCell(row[1])) {
        mac->productVersionRecord = version->get<std::string>();
    }
    return outcome(entryOf("minimumOSVersion", {{"version", presentValueOfCell(row[0])}}));
}

std::string AdministratorPages::patternRow(const Row& row) {
    if (const auto domain = valueOfCell(row[1])) {
        bindTo(domain->get<std::string>());
    } else {
        answer({"/usr/sbin/dsconfigad", "-show", "-xml"}, "");
    }
    const VELValue names = VELValue::array({presentValueOfCell(row[0])});
    return outcome(entryOf("joinedToDomain", {{"names", names}}));
}

std::string AdministratorPages::fingerprintRow(const Row& row) {
    mac->keychainStore.certificateList = {"other", "abc"};
    return outcome(entryOf("certificatePresent", {{"sha1", presentValueOfCell(row[0])}}));
}

std::string AdministratorPages::processRow(const Row& row) {
    listProcesses(presentValueOfCell(row[1]).get<std::string>() + "\n");
    const VELValue process = {{"name", presentValueOfCell(row[0])}};
    return outcome(entryOf("anyProcessRunning", {{"processes", VELValue::array({process})}}));
}

std::string AdministratorPages::stateRow(const Row& row) {
    VELValue status = {{"product", "sample"}};
    if (const auto state = valueOfCell(row[0])) {
        status["encryptionState"] = *state;
    }
    mac->fileStore.contents[statusFile] = propertyListXML(status);
    mac->disks.mounts.reset(); // the volumes fail
    return outcome(entryOf("fullDiskEncryption", VELValue::object()));
}

void AdministratorPages::mount(const Row& row) {
    const auto shared = [&row](std::size_t column) -> std::shared_ptr<const VELValue> {
        const auto value = valueOfCell(row[column]);
        return value ? std::make_shared<const VELValue>(*value) : nullptr;
    };
    VELSimulatedDisk disk;
    disk.description = {shared(0), shared(1), shared(2)};
    disk.media.emplace();
    constexpr std::array properties = {"Sealed", "Role", "Encrypted", "CoreStorage Encrypted"};
    for (std::size_t index = 0; index < properties.size(); ++index) {
        if (const auto value = valueOfCell(row[3 + index])) {
            (*disk.media)[properties[index]] = *value;
        }
    }
    mac->disks.mounts->push_back({"sample", "/Volumes/Sample", std::move(disk)});
}

std::string AdministratorPages::volumeRow(const Row& row) {
    mount(row);
    return outcome(entryOf("fullDiskEncryption", VELValue::object()));
}

void AdministratorPages::addTool(const std::string& does) {
    const std::string prints = "prints ";
    if (does.starts_with(prints)) {
        const std::string output =
            presentValueOfCell(does.substr(prints.size())).get<std::string>();
        answer({firewallTool, "--getglobalstate"}, output);
    } else if (does == "exits with 1") {
        answer({firewallTool, "--getglobalstate"}, "Firewall is enabled. (State = 1)\n", 1);
    } else if (does != "cannot be run") {
        throw std::invalid_argument("the tool does something unknown: " + does);
    }
}

std::string AdministratorPages::firewallRow(const Row& row) {
    addTool(row[0]);
    if (const auto state = valueOfCell(row[1])) {
        mac->preferenceStore.machine["com.apple.alf"]["globalstate"] = *state;
    }
    return outcome(entryOf("localFirewall", VELValue::object()));
}

std::string AdministratorPages::certificateTextRow(const Row& row) {
    certificates->fill(mac->keychainStore, "an identity issued by the root");
    return outcome(
        entryOf("perDeviceCertificatePresent", {{"cert", certificates->valueOf(row[0])}}));
}

std::string AdministratorPages::keychainRow(const Row& row) {
    certificates->fill(mac->keychainStore, row[0]);
    return outcome(entryOf("perDeviceCertificatePresent",
                           {{"cert", certificates->valueOf("the root, in one line")}}));
}

/// Compares the parameters in a section with those that its check requires.
void AdministratorPages::verifyParameters(const MarkdownTable& table) const {
    std::vector<std::string> required;
    for (const Row& row : table.rows) {
        EXPECT_EQ(row.at(2), "yes") << table.place;
        required.push_back(codeOfCell(row.at(0)));
    }
    const auto catalogue = macPostureCheckCatalogue(mac);
    const auto check = catalogue.find(table.section);
    ASSERT_NE(check, catalogue.end()) << "no check is called " << table.section;
    EXPECT_EQ(check->second->requiredParameters(), required) << table.section;
}

/// The one table with this heading.
const MarkdownTable& AdministratorPages::table(const Row& heading) const {
    const auto found =
        std::find_if(document.tables.begin(), document.tables.end(),
                     [&heading](const MarkdownTable& each) { return each.heading == heading; });
    if (found == document.tables.end()) {
        throw std::runtime_error("no table begins with the column " + heading.front());
    }
    return *found;
}

/// The first word in code of each cell in the first column.
std::set<std::string> firstColumnOf(const MarkdownTable& table) {
    std::set<std::string> names;
    for (const Row& row : table.rows) {
        const std::string& cell = row.front();
        const std::size_t begin = cell.find('`') + 1;
        names.insert(cell.substr(begin, cell.find_first_of("` ", begin) - begin));
    }
    return names;
}

using Verify = std::string (AdministratorPages::*)(const Row&);

/// The causes that the truth tables have.
const std::set<std::string> expectedCodes = {
    "certificate-present",
    "domain-does-not-match",
    "domain-matches",
    "domain-not-bound",
    "domain-patterns-invalid",
    "fingerprint-length",
    "fingerprint-not-hexadecimal",
    "firewall-off",
    "firewall-on",
    "firewall-state-unknown",
    "firewall-tool-failed",
    "firewall-tool-not-launched",
    "identity-absent",
    "identity-expired",
    "identity-is-root",
    "identity-issuer-missing",
    "identity-not-trusted",
    "identity-not-yet-valid",
    "identity-of-another-root",
    "identity-trusted",
    "identity-without-key",
    "no-volume-in-scope",
    "parameter-type",
    "process-not-running",
    "process-running",
    "root-empty",
    "root-not-a-certificate",
    "root-not-base64",
    "root-with-armour",
    "status-file-encrypted",
    "status-file-not-encrypted",
    "status-file-state-not-text",
    "status-file-without-state",
    "stored-firewall-state-off",
    "stored-firewall-state-on",
    "version-not-comparable",
    "version-reached",
    "version-too-old",
    "version-unknown",
    "volume-not-encrypted",
    "volumes-encrypted",
};

const std::map<Row, Verify> truthTables = {
    {{"Required", "System", "Result"}, &AdministratorPages::versionRow},
    {{"Pattern", "Domain", "Result"}, &AdministratorPages::patternRow},
    {{"sha1", "Result"}, &AdministratorPages::fingerprintRow},
    {{"Name", "Line of the listing", "Result"}, &AdministratorPages::processRow},
    {{"encryptionState", "Result"}, &AdministratorPages::stateRow},
    {{"Internal", "Protocol", "Kind", "Sealed", "Role", "Encrypted", "CoreStorage Encrypted",
      "Result"},
     &AdministratorPages::volumeRow},
    {{"Tool", "globalstate", "Result"}, &AdministratorPages::firewallRow},
    {{"The value of cert", "Result"}, &AdministratorPages::certificateTextRow},
    {{"The keychain holds", "Result"}, &AdministratorPages::keychainRow},
};

TEST_F(AdministratorPages, EveryTableIsTrue) {
    const std::set<Row> verifiedElsewhere = {
        {"Error", "When"},
        {"Error result", "When"},
        {"Log line", "What it says"},
        {"Type", "Question"},
        {"Name", "Value"},
        {"Command", "What it does"},
        {"Option", "What it does"},
        {"Metric", "Value"},
        {"Machines", "Status", "With `--strict-exit`"},
        {"Status", "`check`, `identity`", "`lint`", "`doctor`"}};
    certificates.emplace();

    std::set<Row> seen;
    for (const MarkdownTable& table : document.tables) {
        const auto verify = truthTables.find(table.heading);
        EXPECT_FALSE(table.rows.empty()) << "no row: " << table.place;
        for (const Row& row : table.rows) {
            ASSERT_EQ(row.size(), table.heading.size()) << table.place;
            if (verify != truthTables.end()) {
                freshMac();
                EXPECT_EQ((this->*verify->second)(row), row.back())
                    << table.section << ": " << testing::PrintToString(row);
            }
        }
        if (verify != truthTables.end()) {
            seen.insert(table.heading);
        } else if (table.heading == Row{"Parameter", "Type", "Required", "Meaning"}) {
            verifyParameters(table);
        } else {
            EXPECT_TRUE(verifiedElsewhere.contains(table.heading))
                << "no test verifies this table: " << table.place;
        }
    }
    EXPECT_EQ(seen.size(), truthTables.size()) << "a truth table is missing";
}

TEST_F(AdministratorPages, EveryRowHasAReasonThatNamesWhatWasFound) {
    certificates.emplace();
    std::set<std::string> codes;
    for (const MarkdownTable& table : document.tables) {
        const auto verify = truthTables.find(table.heading);
        if (verify == truthTables.end()) {
            continue;
        }
        // What differs in cause differs in code, and what has another code has another text.
        std::map<std::string, std::string> outcomeOfCode;
        std::map<std::string, std::string> codeOfText;
        for (const Row& row : table.rows) {
            freshMac();
            static_cast<void>((this->*verify->second)(row));
            const auto& [outcome, evidence] = *explained;
            SCOPED_TRACE(testing::PrintToString(row) + " " + evidence.code + ": " + evidence.text);
            EXPECT_EQ(nameOf(outcome), row.back());
            EXPECT_NE(evidence.code, "not-explained");
            EXPECT_NE(evidence.code, "other-error");
            EXPECT_FALSE(evidence.text.empty());
            EXPECT_EQ(outcomeOfCode.emplace(evidence.code, row.back()).first->second, row.back());
            EXPECT_EQ(codeOfText.emplace(evidence.text, evidence.code).first->second,
                      evidence.code);
            codes.insert(evidence.code);
        }
    }
    EXPECT_EQ(codes, expectedCodes);
}

TEST_F(AdministratorPages, HasASectionForEachCheckWithItsParameters) {
    std::set<std::string> described;
    for (const MarkdownTable& table : document.tables) {
        if (table.heading.front() == "Parameter") {
            described.insert(table.section);
        }
    }
    std::set<std::string> withParameters;
    for (const auto& [type, check] : macPostureCheckCatalogue(mac)) {
        if (check->requiredParameters()) {
            withParameters.insert(type);
        }
    }
    EXPECT_EQ(described, withParameters);
}

TEST_F(AdministratorPages, NameEveryCheckIdentityValueCommandAndOption) {
    std::set<std::string> types;
    for (const auto& [type, check] : macPostureCheckCatalogue(mac)) {
        types.insert(type);
    }
    EXPECT_EQ(firstColumnOf(table({"Type", "Question"})), types);
    EXPECT_EQ(firstColumnOf(table({"Name", "Value"})),
              (std::set<std::string>{kMacSerialNumberKey, kDeviceIDKey}));

    std::set<std::string> commands;
    std::set<std::string> options = {"REQUEST"};
    for (const auto& [name, command] : describedCommands()) {
        if (name.empty()) {
            continue;
        }
        commands.insert(name);
        for (const auto& [option, value] : command.options) {
            options.insert(option);
        }
    }
    options.erase("--help");
    EXPECT_EQ(firstColumnOf(table({"Command", "What it does"})), commands);
    EXPECT_EQ(firstColumnOf(table({"Option", "What it does"})), options);
}

TEST_F(AdministratorPages, ThreatModelCoversEveryCheckAndIdentityValue) {
    std::set<std::string> expected = {kMacSerialNumberKey, kDeviceIDKey};
    for (const auto& [type, check] : macPostureCheckCatalogue(mac)) {
        expected.insert(type);
    }
    const auto pages = MarkdownDocument::read({"Documentation/threat-model.md"});
    EXPECT_EQ(firstColumnOf(pages.tables.at(0)), expected);
}

TEST_F(AdministratorPages, NameEveryMetric) {
    RequestRun run;
    run.result = VELValue::parse(R"({"checks": [{"type": "x", "pass": true}], "pass": true,
        "metrics": {"total_ms": 1, "details": [{"check": {"total_ms": 1}}]}})");
    const std::string report = prometheusReport({run});
    EXPECT_EQ(firstColumnOf(table({"Metric", "Value"})), firstGroups(report, "# TYPE ([a-z_]+) "));
}

TEST_F(AdministratorPages, StatusesAreThoseOfTheProgram) {
    std::set<std::string> statuses;
    for (const Row& row : table({"Status", "`check`, `identity`", "`lint`", "`doctor`"}).rows) {
        statuses.insert(row.front());
    }
    EXPECT_EQ(statuses, statusesInHelp());
}

void removeDurations(VELValue& result) {
    result["metrics"].erase("total_ms");
    if (!result["metrics"].contains("details")) {
        return;
    }
    for (VELValue& detail : result["metrics"]["details"]) {
        detail["check"].erase("total_ms");
    }
}

TEST_F(AdministratorPages, RequestsRunAndGiveTheResultsThatFollow) {
    std::string problem;
    mac = vel::machineFromDescription(
        contentOf(VEL_SOURCE_DIRECTORY "/Examples/Machines/compliant.json"), &problem);
    ASSERT_NE(mac, nullptr) << problem;
    const std::string misuse = "Unknown posture check type.*|Required parameter.*";
    std::set<std::string> types;
    VELValue answer;
    VELValue documented;
    unsigned results = 0;
    for (const MarkdownCode& code : document.codes) {
        if (code.text.starts_with("RESULT ")) {
            EXPECT_EQ(code.text, resultReport(documented, VELValue(), {})) << code.place;
            ++results;
        }
        if (code.language != "json") {
            continue;
        }
        const VELValue value = VELValue::parse(code.text);
        if (value.contains("metrics")) {
            documented = value.contains("checks") ? value : documented;
            VELValue expected = value;
            removeDurations(expected);
            removeDurations(answer);
            EXPECT_EQ(answer, expected) << code.place;
            ++results;
            continue;
        }
        answer = run(code.text);
        EXPECT_FALSE(answer.contains("error")) << code.place << ": " << answer;
        if (value.contains("mac")) {
            for (const VELValue& entry : answer["checks"]) {
                types.insert(entry["type"].get<std::string>());
                EXPECT_FALSE(matchesWhole(entry.value("error", ""), misuse))
                    << code.place << ": " << entry;
            }
        }
    }
    EXPECT_EQ(results, 3U);
    EXPECT_EQ(types.size(), 7U) << "an example of a check is missing";
}

void AdministratorPages::provoke(const VELDictionary& entry) {
    const VELValue result = runEntry(entry);
    ASSERT_TRUE(result.contains("error")) << "no error for " << entry;
    provoked.insert(result["error"].get<std::string>());
}

void AdministratorPages::provokeToolErrors() {
    provoke(entryOf("anyProcessRunning", {{"processes", VELValue::array()}}));
    provoke(entryOf("localFirewall", VELValue::object()));
    answer({firewallTool, "--getglobalstate"}, "");
    provoke(entryOf("localFirewall", VELValue::object()));
    answer({"/usr/sbin/dsconfigad", "-show", "-xml"}, "not bound");
    provoke(entryOf("joinedToDomain", {{"names", VELValue::array()}}));
    freshMac();
    VELSimulatedRun slow;
    slow.command = {"/usr/sbin/dsconfigad", "-show", "-xml"};
    slow.seconds = 11;
    mac->tools = {slow};
    provoke(entryOf("joinedToDomain", {{"names", VELValue::array()}}));
    EXPECT_TRUE(provoked.contains("Task /usr/sbin/dsconfigad exited with status code 15."));
}

void AdministratorPages::provokeParameterErrors() {
    provoke(entryOf("localfirewall", VELValue::object()));
    provoke(VELValue::object());
    provoke(entryOf("joinedToDomain", VELValue::object()));
    provoke(entryOf("minimumOSVersion", {{"version", 15}}));
    provoke(entryOf("certificatePresent", {{"sha1", nullptr}}));
    provoke(entryOf("perDeviceCertificatePresent", {{"cert", nullptr}}));
    bindTo("corp.sample.test");
    provoke(entryOf("joinedToDomain", {{"names", "*"}}));
    provoke(entryOf("joinedToDomain", {{"names", VELValue::array({"other", 1})}}));
    listProcesses("  PID TTY           TIME CMD\n  412 ??         0:03.71 SampleAgent\n");
    answer({"/usr/bin/codesign", "--display", "--extract-certificates", "412"}, "");
    answer({"/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"},
           "subject= /CN=Sample Agent/OU=TEAM42/O=Sample Corp\n");
    const VELValue agent = {{"name", "SampleAgent"}};
    VELValue signedBySomebody = agent;
    signedBySomebody["signingCertificateSubjectOU"] = "OTHER";
    VELValue signedByNumber = agent;
    signedByNumber["signingCertificateSubjectOU"] = 42;
    for (const VELValue& processes :
         {VELValue("SampleAgent"), VELValue::array({"SampleAgent"}),
          VELValue::array({VELValue::object()}), VELValue::array({{{"name", 1}}}),
          VELValue::array({signedBySomebody}), VELValue::array({signedByNumber})}) {
        provoke(entryOf("anyProcessRunning", {{"processes", processes}}));
    }
}

void AdministratorPages::provokeStateErrors() {
    freshMac();
    mac->disks.mounts.reset();
    mac->fileStore.contents[statusFile] = std::nullopt;
    provoke(entryOf("fullDiskEncryption", VELValue::object()));
    provoke(entryOf("certificatePresent", {{"sha1", "00"}}));
}

void AdministratorPages::provokeTrustErrors() {
    certificates.emplace();
    for (const std::string& identity : certificates->untrustedIdentities()) {
        freshMac();
        certificates->fillWithUntrusted(mac->keychainStore, identity);
        provoke(entryOf("perDeviceCertificatePresent",
                        {{"cert", certificates->valueOf("the root, in one line")}}));
    }
}

/// A documented text as an expression: words in capitals match any text.
std::string expressionOf(const std::string& text) {
    return replacedAll(escapedForExpression(text),
                       R"(\b(TYPE|PARAMETER|PATH|REASON|STATUS|DETAIL|N|NAME|UNIT|SUMMARY)\b)",
                       ".+");
}

/// Every documented text is one of the texts, and every text is documented.
void expectSameTexts(const MarkdownTable& table, const std::set<std::string>& texts) {
    std::set<std::string> documented;
    for (const Row& row : table.rows) {
        const std::string text = codeOfCell(row.front());
        std::set<std::string> matching = matchingTexts(texts, expressionOf(text));
        EXPECT_FALSE(matching.empty()) << "the library does not say: " << text;
        documented.merge(matching);
    }
    EXPECT_EQ(documented, texts) << "some are not documented";
}

TEST_F(AdministratorPages, QuotesEveryErrorOfACheckWordForWord) {
    provokeToolErrors();
    provokeParameterErrors();
    provokeStateErrors();
    provokeTrustErrors();
    expectSameTexts(table({"Error", "When"}), provoked);

    std::string log;
    for (const LogLine& line : logger->take()) {
        log += '\n' + line.message;
    }
    const auto codes =
        firstGroups(log, "\nError: Error Domain=com\\.vel\\.posturecheck Code=(\\d+) ");
    EXPECT_EQ(codes, (std::set<std::string>{"0", "1", "2", "3", "5", "6", "7", "8", "11"}))
        << "a code was not provoked";
}

TEST_F(AdministratorPages, QuotesEveryErrorResultWordForWord) {
    std::set<std::string> texts;
    for (const std::string& request :
         {std::string("[]"), std::string(R"({"mac": null})"),
          std::string(R"({"mac": [{"type": "localFirewall"}, 7]})"),
          std::string(R"({"identity_params": null})"),
          std::string(R"({"identity_params": ["device_id", 7]})"), std::string(R"({"mac": [],})"),
          std::string("{} // comment"),
          "{\"a\": " + std::string(600, '[') + std::string(600, ']') + "}",
          std::string(R"({"a": 1e999})"), std::string("{}\0{}", 5)}) {
        const VELValue result = run(request);
        EXPECT_EQ(result.size(), 1U) << request;
        texts.insert(result.at("error").get<std::string>());
    }
    expectSameTexts(table({"Error result", "When"}), texts);
}

/// The sources in some folders, the pieces of each string literal joined.
std::string sourcesIn(const std::vector<std::string>& folders) {
    std::string sources;
    for (const std::string& folder : folders) {
        for (const auto& file :
             std::filesystem::directory_iterator(std::string(VEL_SOURCE_DIRECTORY) + folder)) {
            sources += contentOf(file.path());
        }
    }
    return replacedAll(sources, "\"\\s*\n\\s*\"", "");
}

/// Codes may be put together of a beginning and an end.
TEST_F(AdministratorPages, NameCodesOfReasonsThatExist) {
    const std::string sources = sourcesIn({"/Tools/vel-posture/explain", "/Helpers/Linux"});
    const auto isLiteral = [&sources](const std::string& text) {
        return sources.find('"' + text + '"') != std::string::npos;
    };
    const auto pages = MarkdownDocument::read({"Documentation/why.md"});
    ASSERT_EQ(pages.tables.size(), 2U);
    unsigned count = 0;
    for (const Row& row : pages.tables.at(1).rows) {
        for (const std::string& name : firstGroups(row.front(), "`([a-z0-9-]+)`")) {
            bool exists = isLiteral(name);
            for (std::size_t dash = name.find('-'); dash != std::string::npos && !exists;
                 dash = name.find('-', dash + 1)) {
                exists = isLiteral(name.substr(0, dash)) && isLiteral(name.substr(dash));
            }
            EXPECT_TRUE(exists) << name;
            ++count;
        }
    }
    EXPECT_GT(count, 20U);
}

TEST_F(AdministratorPages, QuotesLogLinesWordForWord) {
    const std::string sources = sourcesIn({"/Classes/Mac", "/Classes/Shared"});
    unsigned lines = 0;
    for (const MarkdownTable& table : document.tables) {
        if (table.heading != Row{"Log line", "What it says"}) {
            continue;
        }
        for (const Row& row : table.rows) {
            const std::string text = codeOfCell(row.front());
            EXPECT_NE(sources.find('"' + text + '"'), std::string::npos) << text;
            ++lines;
        }
    }
    EXPECT_GT(lines, 10U);
}

} // namespace
