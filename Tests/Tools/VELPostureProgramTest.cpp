// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/ChildProgram.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/Sanitized.h"
#include "Tests/Support/TemporaryFolder.h"
#include "vel_device_trust/VELValue.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <utility>

namespace {

using Arguments = std::vector<std::string>;
using Result = ChildProgram::Result;

const std::string examples = VEL_SOURCE_DIRECTORY "/Examples";
const std::string compliantMac = examples + "/Machines/compliant.json";

const std::string passingRequest = R"({"mac": [{"type": "minimumOSVersion", "version": "13"}]})";
const std::string passingResult =
    R"({"checks":[{"pass":true,"type":"minimumOSVersion","version":"13"}],)"
    R"("metrics":{"details":[{"check":{"total_ms":0.0,"type":"minimumOSVersion"}}],)"
    R"("total_ms":0.0},"pass":true})"
    "\n";
const std::string passingReport = "RESULT     MS  CHECK             DETAIL\n"
                                  "pass    0.000  minimumOSVersion  version: 13\n"
                                  "\n"
                                  "PASSED  1 of 1 check passed, 0.000 ms\n";
const std::string emptyResult =
    R"({"checks":[],"metrics":{"details":[],"total_ms":0.0},"pass":true})"
    "\n";

ChildProgram program(const Arguments& arguments) {
    ChildProgram child{{VEL_POSTURE_PROGRAM}};
    child.arguments.insert(child.arguments.end(), arguments.begin(), arguments.end());
    return child;
}

/// `check` of a request on standard input, asked of the Mac in good order.
ChildProgram checkOfCompliantMac(const std::string& request, const Arguments& options = {}) {
    ChildProgram child = program({"check", "--machine", compliantMac});
    child.arguments.insert(child.arguments.end(), options.begin(), options.end());
    child.input = request;
    return child;
}

Result wrongUse(const std::string& text, const std::string& helpCommand = "vel-posture --help") {
    return {2, "", "vel-posture: " + text + "\nvel-posture: see " + helpCommand + "\n"};
}

Result failure(const std::string& text) {
    return {2, "", "vel-posture: " + text + "\n"};
}

// ---- requests and results

TEST(VELPostureProgram, AnswersARequestFile) {
    const Arguments arguments = {"check", examples + "/Requests/minimum-os-version.json",
                                 "--machine", compliantMac};
    const auto metric = std::string(R"({"check":{"total_ms":0.0,"type":"minimumOSVersion"}})");
    EXPECT_EQ(
        program(arguments).run(),
        (Result{1,
                R"({"checks":[{"pass":true,"type":"minimumOSVersion","version":"14.5"},)"
                R"({"pass":true,"type":"minimumOSVersion","version":"13"},)"
                R"({"comment":"no machine is there yet","pass":false,"type":"minimumOSVersion",)"
                R"("version":"99.0"},)"
                R"({"error":"Invalid version type in OS version check.",)"
                R"("type":"minimumOSVersion","version":14},)"
                R"({"error":"Required parameter \"version\" missing from check type )"
                R"(\"minimumOSVersion\".","type":"minimumOSVersion"}],"metrics":{"details":[)" +
                    metric + "," + metric + "," + metric + "," + metric + "," + metric +
                    R"(],"total_ms":0.0},"pass":false})"
                    "\n",
                ""}));
}

TEST(VELPostureProgram, ReportsARequestFileInText) {
    EXPECT_EQ(
        program({"check", examples + "/Requests/minimum-os-version.json", "--machine", compliantMac,
                 "--format", "text"})
            .run(),
        (Result{1,
                "RESULT     MS  CHECK             DETAIL\n"
                "pass    0.000  minimumOSVersion  version: 14.5\n"
                "pass    0.000  minimumOSVersion  version: 13\n"
                "fail    0.000  minimumOSVersion  comment: no machine is there yet, version: "
                "99.0\n"
                "error   0.000  minimumOSVersion  Invalid version type in OS version check. "
                "(version: 14)\n"
                "error   0.000  minimumOSVersion  Required parameter \"version\" missing from "
                "check type \"minimumOSVersion\".\n"
                "\n"
                "NOT PASSED  2 of 5 checks passed, 1 failed, 2 errors, 0.000 ms\n",
                ""}));
}

TEST(VELPostureProgram, TheOutOfDateMacPassesNone) {
    const Result result = program({"check", examples + "/Requests/minimum-os-version.json",
                                   "--machine", examples + "/Machines/out-of-date.json"})
                              .run();
    EXPECT_EQ(result.status, 1);
    const auto document = nlohmann::json::parse(result.output);
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_EQ(document.at("checks").at(index).at("pass"), false);
    }
}

TEST(VELPostureProgram, ReadsStandardInput) {
    EXPECT_EQ(checkOfCompliantMac(passingRequest).run(), (Result{0, passingResult, ""}));
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"-"}).run(), (Result{0, passingResult, ""}));
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--format=text"}).run(),
              (Result{0, passingReport, ""}));
}

TEST(VELPostureProgram, AsksThisMachineUnlessToldOtherwise) {
    ChildProgram child = program({"check"});
    child.input = R"({"mac": [{"type": "minimumOSVersion", "version": 1}]})";
    const Result result = child.run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "");
    const auto document = nlohmann::json::parse(result.output);
    EXPECT_EQ(document.at("checks").at(0).at("error"), "Invalid version type in OS version check.");
    EXPECT_GT(document.at("metrics").at("total_ms").get<double>(), 0.0);
}

TEST(VELPostureProgram, AnUnknownTypeIsAnErrorOfItsEntry) {
    EXPECT_EQ(
        checkOfCompliantMac(R"({"mac": [{"type": "MinimumOSVersion"}]})", {"--format", "text"})
            .run(),
        (Result{1,
                "RESULT     MS  CHECK             DETAIL\n"
                "error   0.000  MinimumOSVersion  Unknown posture check type: "
                "MinimumOSVersion.\n"
                "\n"
                "NOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n",
                ""}));
}

TEST(VELPostureProgram, AnEntryWithAPassOfItsOwnIsStillAnError) {
    const Result result =
        checkOfCompliantMac(R"({"mac": [{"type": "x", "pass": true}]})", {"--format", "text"})
            .run();
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "RESULT     MS  CHECK  DETAIL\n"
                             "error   0.000  x      Unknown posture check type: x.\n"
                             "\n"
                             "NOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n");
}

TEST(VELPostureProgram, ARequestWithoutChecksPasses) {
    const std::string warning = "vel-posture: no checks under \"mac\"\n";
    EXPECT_EQ(checkOfCompliantMac(R"({"mac": []})").run(), (Result{0, emptyResult, warning}));
    EXPECT_EQ(checkOfCompliantMac("{}").run(), (Result{0, emptyResult, warning}));
    EXPECT_EQ(checkOfCompliantMac("{}", {"--format", "text"}).run(),
              (Result{0, "PASSED  no checks were run\n", warning}));
    EXPECT_EQ(checkOfCompliantMac("{}", {"--require-checks"}).run(),
              (Result{2, emptyResult, warning}));
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--require-checks"}).run(),
              (Result{0, passingResult, ""}));
    EXPECT_EQ(checkOfCompliantMac(R"({"identity_params": []})", {"--require-checks"}).run().status,
              0);
}

TEST(VELPostureProgram, NamesWhatIsCloseToChecks) {
    const std::string start = "vel-posture: no checks under \"mac\": ";
    const auto warningOn = [](const std::string& request) {
        const Result result = checkOfCompliantMac(request, {"--require-checks"}).run();
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.output, emptyResult);
        return result.errors;
    };
    for (const char* key : {"Mac", "macOS", "mac "}) {
        EXPECT_EQ(warningOn("{\"" + std::string(key) + "\": []}"),
                  start + "\"" + key + "\" is not read; did you mean \"mac\"?\n");
    }
    EXPECT_EQ(warningOn(R"({"windows": [{"type": "x"}]})"),
              start + "\"windows\" is not read; did you mean \"mac\"?\n");
    EXPECT_EQ(warningOn(R"({"identity_param": ["device_id"]})"),
              start + "\"identity_param\" is not read; did you mean \"identity_params\"?\n");
    EXPECT_EQ(program({"check", compliantMac, "--machine", compliantMac}).run(),
              (Result{0, emptyResult,
                      start + "the document describes a machine; give it with --machine\n"}));
}

TEST(VELPostureProgram, AnErrorResultIsStatusTwo) {
    const Result json = checkOfCompliantMac("{\"mac\": [").run();
    EXPECT_EQ(json.status, 2);
    EXPECT_EQ(json.errors, "");
    const auto document = nlohmann::json::parse(json.output);
    ASSERT_EQ(document.size(), 1U);
    const auto text = document.at("error").get<std::string>();
    EXPECT_TRUE(text.starts_with("parse error at line 1, column 10: ")) << text;

    EXPECT_EQ(checkOfCompliantMac("{\"mac\": [", {"--format", "text"}).run(),
              (Result{2, "ERROR  " + text + "\n", ""}));
    EXPECT_EQ(checkOfCompliantMac(R"({"mac": [{}, 7]})").run(),
              (Result{2, "{\"error\":\"mac[1] is not an object\"}\n", ""}));
    EXPECT_EQ(checkOfCompliantMac("").run().status, 2);
}

TEST(VELPostureProgram, TakesLongAndDeepRequests) {
    const std::string comment(largeInput, 'x');
    const Result large =
        checkOfCompliantMac(R"({"mac": [{"type": "y", "comment": ")" + comment + "\"}]}").run();
    EXPECT_EQ(large.status, 1);
    EXPECT_EQ(large.errors, "");
    // Not EXPECT_EQ, which would look for the difference in both.
    EXPECT_TRUE(large.output ==
                "{\"checks\":[{\"comment\":\"" + comment +
                    R"(","error":"Unknown posture check type: y.","type":"y"}],)"
                    R"("metrics":{"details":[{"check":{"total_ms":0.0,"type":"y"}}],)"
                    R"("total_ms":0.0},"pass":false})"
                    "\n");

    // The type is as deep as may be read; the result nests it two levels deeper.
    const std::string deepType = std::string(509, '[') + std::string(509, ']');
    const Result deep =
        checkOfCompliantMac(R"({"mac": [{"type": )" + deepType + "}]}", {"--format", "text"}).run();
    EXPECT_EQ(deep.status, 1);
    EXPECT_EQ(deep.errors, "");
    EXPECT_TRUE(deep.output.ends_with("Unknown posture check type: " + deepType +
                                      ".\n\nNOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n"));
}

// ---- identity

TEST(VELPostureProgram, AsksForBothIdentityValues) {
    const std::string result =
        R"({"identity_params":{"device_id":"6f9d1c1e-2f0a-4a53-9b5e-0d6f8f7c2a11",)"
        R"("device_serial_number":"C02EXAMPLE01"},"metrics":{"total_ms":0.0}})"
        "\n";
    EXPECT_EQ(program({"identity", "--machine", compliantMac}).run(), (Result{0, result, ""}));
    EXPECT_EQ(
        program({"check", examples + "/Requests/identity.json", "--machine", compliantMac}).run(),
        (Result{0, result, ""}));
    EXPECT_EQ(program({"identity", "--machine", compliantMac, "--format", "text"}).run(),
              (Result{0,
                      "device_id             6f9d1c1e-2f0a-4a53-9b5e-0d6f8f7c2a11\n"
                      "device_serial_number  C02EXAMPLE01\n",
                      ""}));
}

TEST(VELPostureProgram, AsksForTheIdentityValuesNamed) {
    const std::string outOfDateMac = examples + "/Machines/out-of-date.json";
    EXPECT_EQ(program({"identity", "Device_Serial_Number", "--machine", outOfDateMac}).run(),
              (Result{0,
                      R"({"identity_params":{"device_serial_number":"C02EXAMPLE02"},)"
                      R"("metrics":{"total_ms":0.0}})"
                      "\n",
                      ""}));
    EXPECT_EQ(program({"identity", "check", "device_id", "--machine", outOfDateMac}).run(),
              (Result{2,
                      R"({"identity_params":{"device_id":"27b1f0c4-7c5d-4b0e-8f3e-5a9c1d2e3f40"},)"
                      R"("metrics":{"total_ms":0.0}})"
                      "\n",
                      "vel-posture: unknown identity value: check\n"}));
    EXPECT_EQ(program({"identity", "device-id", "--machine", outOfDateMac}).run().errors,
              "vel-posture: unknown identity value: device-id; did you mean device_id?\n");
    EXPECT_EQ(program({"identity", "other", "--machine", outOfDateMac, "--format", "text"}).run(),
              (Result{2, "no identity values\n", "vel-posture: unknown identity value: other\n"}));
    EXPECT_EQ(program({"identity", "\xff"}).run(), failure("NAME is not valid UTF-8"));
}

// ---- lint

/// `lint` of a request on standard input.
ChildProgram lintOf(const std::string& request, const Arguments& options = {}) {
    ChildProgram child = program({"lint"});
    child.arguments.insert(child.arguments.end(), options.begin(), options.end());
    child.input = request;
    return child;
}

const std::string misspeltRequest = R"({"mac": [{"type": "localfirewall"}]})";
const std::string misspeltReport =
    "standard input:1:11: error: unknown-type\n"
    "    mac[0].type is \"localfirewall\", which is not a check type: the entry is an error\n"
    "    advice: did you mean \"localFirewall\"?\n"
    "\n"
    "1 finding\n";

TEST(VELPostureProgram, LintsARequest) {
    const std::string finding =
        R"({"findings":[{"file":"standard input","line":1,"column":11,"severity":"error",)"
        R"("code":"unknown-type","text":"mac[0].type is \"localfirewall\", which is not a check )"
        R"(type: the entry is an error; did you mean \"localFirewall\"?"}]})"
        "\n";
    EXPECT_EQ(lintOf(misspeltRequest).run(), (Result{1, finding, ""}));
    EXPECT_EQ(lintOf(misspeltRequest, {"-", "--format", "json"}).run(), (Result{1, finding, ""}));
    EXPECT_EQ(lintOf(misspeltRequest, {"--format", "text"}).run(), (Result{1, misspeltReport, ""}));
    EXPECT_EQ(program({"lint", examples + "/Requests/posture.json"}).run(),
              (Result{0, "{\"findings\":[]}\n", ""}));
    EXPECT_EQ(program({"lint", examples + "/Requests/posture.json", "--format", "text"}).run(),
              (Result{0, "no findings\n", ""}));
    EXPECT_EQ(program({"lint", examples + "/Requests/minimum-os-version.json"}).run().status, 1);
}

TEST(VELPostureProgram, LintIsAGate) {
    const TemporaryFolder folder;
    const std::string error = folder.write("error.json", misspeltRequest);
    const std::string warning =
        folder.write("warning.json", R"({"mac": [{"type": "localFirewall", "nmae": 1}]})");
    const std::string note = folder.write(
        "note.json", R"({"mac": [{"type": "localFirewall"}, {"type": "localFirewall"}]})");
    const std::string clean = folder.write("clean.json", R"({"$schema": "s", "name": "n",
        "version": 1, "x-top": 1, "mac": [{"type": "localFirewall", "id": "1", "title": "t",
        "ticket": "T", "severity": "high", "remediation": "r", "x-own": 2}]})");
    const auto statuses = [](const std::string& path) {
        std::vector<int> found = {program({"lint", path}).run().status};
        for (const char* severity : {"error", "warning", "note"}) {
            found.push_back(program({"lint", path, "--fail-on", severity}).run().status);
        }
        return found;
    };
    EXPECT_EQ(statuses(error), (std::vector<int>{1, 1, 1, 1}));
    EXPECT_EQ(statuses(warning), (std::vector<int>{1, 0, 1, 1}));
    EXPECT_EQ(statuses(note), (std::vector<int>{0, 0, 0, 1}));
    EXPECT_EQ(program({"lint", clean, "--fail-on", "note"}).run(),
              (Result{0, "{\"findings\":[]}\n", ""}));
    const Result several = program({"lint", clean, note, error}).run();
    EXPECT_EQ(several.status, 1);
    const auto findings = nlohmann::json::parse(several.output).at("findings");
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings.at(0).at("file"), note);
    EXPECT_EQ(findings.at(1).at("file"), error);
    const std::string none = folder.write("none.json", "[");
    const Result partly = program({"lint", none, clean}).run();
    EXPECT_EQ(partly.status, 2);
    EXPECT_EQ(partly.output, "{\"findings\":[]}\n");
    EXPECT_TRUE(
        partly.errors.starts_with("vel-posture: cannot lint \"" + none + "\": parse error"));
}

TEST(VELPostureProgram, LintsForATerminal) {
    ChildProgram child = lintOf(misspeltRequest);
    child.outputStream = ChildStream::terminal;
    const Result inColour = child.run();
    EXPECT_EQ(inColour.status, 1);
    EXPECT_TRUE(
        inColour.output.starts_with("\x1b[1;31mstandard input:1:11: error: unknown-type\x1b[0m\n"))
        << inColour.output;
    EXPECT_TRUE(inColour.output.ends_with("\x1b[1;31m1 finding\x1b[0m\n")) << inColour.output;
    child.environment = {{"NO_COLOR", "1"}};
    child.columns = 120;
    EXPECT_EQ(child.run(), (Result{1, misspeltReport, ""}));
    child.columns = 40;
    EXPECT_EQ(child.run().output, "standard input:1:11: error: unknown-type\n"
                                  "    mac[0].type is \"localfirewall\",\n"
                                  "    which is not a check type: the entry\n"
                                  "    is an error\n"
                                  "    advice: did you mean\n"
                                  "    \"localFirewall\"?\n"
                                  "\n"
                                  "1 finding\n");
}

TEST(VELPostureProgram, TellsWhyItCannotLint) {
    const TemporaryFolder folder;
    const std::string path = folder.write("request.json", "[]");
    EXPECT_EQ(program({"lint", path}).run(),
              failure("cannot lint \"" + path + "\": the request is not an object"));
    EXPECT_EQ(lintOf("{\"mac\": [").run(),
              failure("cannot lint standard input: parse error at line 1, column 10: syntax error "
                      "while parsing value - unexpected end of input; expected '[', '{', or a "
                      "literal"));
    EXPECT_EQ(lintOf("[]", {"--format", "json"}).run(),
              failure("cannot lint standard input: the request is not an object"));
    EXPECT_EQ(
        program({"lint", folder.path() + "/none.json"}).run(),
        failure("cannot read \"" + folder.path() + "/none.json\": No such file or directory"));
    EXPECT_EQ(program({"lint", "--machine", "x"}).run(),
              wrongUse("unknown option: --machine", "vel-posture lint --help"));
    ChildProgram full = lintOf(misspeltRequest);
    full.outputStream = ChildStream::fullDevice;
    EXPECT_EQ(full.run(), failure("cannot write to standard output: No space left on device"));
}

// ---- catalogue, help, version

TEST(VELPostureProgram, ListsTheCatalogue) {
    EXPECT_EQ(program({"catalogue"}).run(),
              (Result{0,
                      R"({"anyProcessRunning":["processes"],"certificatePresent":["sha1"],)"
                      R"("fullDiskEncryption":[],"joinedToDomain":["names"],"localFirewall":[],)"
                      R"("minimumOSVersion":["version"],"perDeviceCertificatePresent":["cert"]})"
                      "\n",
                      ""}));
    EXPECT_EQ(program({"catalogue", "--format", "text"}).run(),
              (Result{0,
                      "CHECK                        REQUIRED PARAMETERS\n"
                      "anyProcessRunning            processes\n"
                      "certificatePresent           sha1\n"
                      "fullDiskEncryption           (none)\n"
                      "joinedToDomain               names\n"
                      "localFirewall                (none)\n"
                      "minimumOSVersion             version\n"
                      "perDeviceCertificatePresent  cert\n",
                      ""}));
}

TEST(VELPostureProgram, DoctorsStatusSaysWhetherEverySourceCanBeAsked) {
    const Result result = program({"doctor", "--format", "json"}).run();
    EXPECT_EQ(result.errors, "");
    const VELValue sources = VELValue::parse(result.output).at("sources");
    bool canAllBeAsked = true;
    std::set<std::string> names;
    for (const VELValue& source : sources) {
        names.insert(source.at("source").get<std::string>());
        canAllBeAsked = canAllBeAsked && source.at("canBeAsked").get<bool>();
        EXPECT_NE(source.at("text"), "");
    }
    EXPECT_EQ(names.size(), sources.size());
    EXPECT_TRUE(names.contains("firewall"));
    EXPECT_EQ(result.status, canAllBeAsked ? 0 : 1);
}

TEST(VELPostureProgram, ADescribedMacInGoodOrderPassesTheWholeExample) {
    const Result result =
        program({"check", examples + "/Requests/posture.json", "--machine", compliantMac}).run();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    const auto document = nlohmann::json::parse(result.output);
    ASSERT_EQ(document.at("checks").size(), 5U);
    for (const auto& check : document.at("checks")) {
        EXPECT_EQ(check.at("pass"), true) << check;
    }
    EXPECT_EQ(document.at("pass"), true);
    EXPECT_EQ(document.at("metrics").at("total_ms"), 0.0);
}

TEST(VELPostureProgram, HelpsOnStandardOutput) {
    const Result help = program({"--help"}).run();
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.errors, "");
    for (const char* part :
         {"Usage: vel-posture [OPTIONS] SUBCOMMAND\n", "check ", "identity ", "lint ", "catalogue ",
          "doctor ",
          "\nExit status:\n"
          "  0  the machine (with what-if: every machine) passed, or the command did\n"
          "     its work and found nothing wrong\n"
          "  1  a machine did not pass, lint found a mistake (see --fail-on), test found\n"
          "     a difference, or doctor found a source that cannot be asked\n"
          "  2  a usage error, a file that cannot be read or written, a bad line of\n"
          "     what-if, or an error result\n"
          "  3  with --strict-exit: no check failed, but some ended in an error\n"}) {
        EXPECT_NE(help.output.find(part), std::string::npos) << help.output;
    }
    const Result checkHelp = program({"check", "--help"}).run();
    EXPECT_EQ(checkHelp.status, 0);
    for (const char* part :
         {"Usage: vel-posture check [OPTIONS] [REQUEST...]\n", "--machine FILE ",
          "--format json|text|junit|prometheus\n", "--log FILE ", "Exit status:"}) {
        EXPECT_NE(checkHelp.output.find(part), std::string::npos) << checkHelp.output;
    }
    const Result lintHelp = program({"lint", "--help"}).run();
    EXPECT_EQ(lintHelp.status, 0);
    for (const char* part : {"Usage: vel-posture lint [OPTIONS] [REQUEST...]\n", "REQUEST ",
                             "--format json|text ", "Exit status:"}) {
        EXPECT_NE(lintHelp.output.find(part), std::string::npos) << lintHelp.output;
    }
    EXPECT_EQ(program({"--version"}).run(),
              (Result{0, "vel-posture (vel_device_trust 1.0.0)\n", ""}));
}

// ---- reasons

const std::string outdatedRequest =
    R"({"mac": [{"type": "localFirewall"}, {"type": "minimumOSVersion", "version": "99.0"}]})";

TEST(VELPostureProgram, ExplainsEachCheckBelowIt) {
    const Result result =
        checkOfCompliantMac(outdatedRequest, {"--explain", "--format", "text"}).run();
    const Result plain = checkOfCompliantMac(outdatedRequest, {"--format", "text"}).run();
    EXPECT_EQ(result.status, plain.status);
    EXPECT_EQ(result.errors, plain.errors);
    EXPECT_NE(result.output.find("\n        found 14.5, wanted at least 99.0\n"), std::string::npos)
        << result.output;
}

TEST(VELPostureProgram, ExplainedJSONHoldsTheResultAsItIs) {
    const Result result = checkOfCompliantMac(outdatedRequest, {"--explain"}).run();
    const Result plain = checkOfCompliantMac(outdatedRequest, {}).run();
    const std::string start =
        "{\"result\":" + plain.output.substr(0, plain.output.size() - 1) + ",\"evidence\":[";
    EXPECT_EQ(result.output.substr(0, start.size()), start);
    EXPECT_EQ(result.status, plain.status);
    const auto document = nlohmann::json::parse(result.output);
    EXPECT_EQ(document.at("evidence").size(), document.at("result").at("checks").size());
    const Result identity =
        checkOfCompliantMac(R"({"identity_params": ["device_id"]})", {"--explain"}).run();
    EXPECT_EQ(nlohmann::json::parse(identity.output).at("evidence"), nlohmann::json::array());
}

TEST(VELPostureProgram, ExplainingLeavesTheLogAsItIs) {
    const auto linesOf = [](const std::string& errors) {
        std::vector<std::string> messages;
        std::istringstream lines(errors);
        for (std::string line; std::getline(lines, line);) {
            messages.push_back(nlohmann::json::parse(line).at("message").get<std::string>());
        }
        return messages;
    };
    const auto plain = linesOf(checkOfCompliantMac(outdatedRequest, {"--log", "-"}).run().errors);
    EXPECT_FALSE(plain.empty());
    EXPECT_EQ(
        linesOf(checkOfCompliantMac(outdatedRequest, {"--log", "-", "--explain"}).run().errors),
        plain);
}

// ---- wrong use, files that cannot be read

TEST(VELPostureProgram, RefusesWrongUse) {
    const std::string checkHelp = "vel-posture check --help";
    EXPECT_EQ(program({}).run(), wrongUse("A subcommand is required"));
    EXPECT_EQ(program({"chekc"}).run(), wrongUse("unknown command: chekc; did you mean check?"));
    EXPECT_EQ(program({"--verbose"}).run(), wrongUse("unknown option: --verbose"));
    EXPECT_EQ(program({"catalogue", "--formt=x"}).run(),
              wrongUse("unknown option: --formt; did you mean --format?",
                       "vel-posture catalogue --help"));
    EXPECT_EQ(program({"check", "--log"}).run(),
              wrongUse("--log: 1 required FILE missing", checkHelp));
    EXPECT_EQ(program({"check", "--envelope", "--format", "junit"}).run(),
              wrongUse("--envelope needs --format json", checkHelp));
    for (const char* format : {"junit", "prometheus"}) {
        EXPECT_EQ(program({"check", "--explain", "--format", format}).run(),
                  wrongUse("--explain needs --format text or json", checkHelp));
    }
    EXPECT_EQ(program({"check", "--explain", "--envelope"}).run(),
              wrongUse("--explain and --envelope exclude each other", checkHelp));
    EXPECT_EQ(program({"check", "--verbose"}).run(),
              wrongUse("unknown option: --verbose", checkHelp));
    EXPECT_EQ(program({"catalogue", "a"}).run(),
              wrongUse("unexpected argument: a", "vel-posture catalogue --help"));
    EXPECT_EQ(program({"check", "--format", "xml"}).run(),
              wrongUse("--format: xml not in {json,text,junit,prometheus}", checkHelp));
    EXPECT_EQ(
        program({"check", "--format", "x\x1b[2J\xff"}).run(),
        wrongUse("--format: x\\u001b[2J\uFFFD not in {json,text,junit,prometheus}", checkHelp));
    EXPECT_EQ(program({"catalogue", "--log", "x"}).run(),
              wrongUse("unknown option: --log", "vel-posture catalogue --help"));
}

TEST(VELPostureProgram, NamesTheRequestThatItCannotRead) {
    const TemporaryFolder folder;
    const std::string& path = folder.path();
    EXPECT_EQ(program({"check", path + "/none.json"}).run(),
              failure("cannot read \"" + path + "/none.json\": No such file or directory"));
    EXPECT_EQ(program({"check", path}).run(),
              failure("cannot read \"" + path + "\": Is a directory"));
    EXPECT_EQ(program({"check", ""}).run(), failure("cannot read \"\": No such file or directory"));
    EXPECT_EQ(program({"check", "catalogue\x1b"}).run(),
              failure("cannot read \"catalogue\\u001b\": No such file or directory"));

    ChildProgram child = program({"check"});
    child.inputStream = ChildStream::closed;
    EXPECT_EQ(child.run(), failure("cannot read standard input: Bad file descriptor"));
}

TEST(VELPostureProgram, NamesTheMachineThatItCannotRead) {
    const TemporaryFolder folder;
    EXPECT_EQ(
        program({"identity", "--machine", folder.path() + "/none.json"}).run(),
        failure("cannot read \"" + folder.path() + "/none.json\": No such file or directory"));
    const std::string path = folder.write("mac.json", R"({"preferences": {"machine": []}})");
    EXPECT_EQ(
        program({"identity", "--machine", path}).run(),
        failure("machine description \"" + path + "\": preferences.machine is not an object"));
    folder.write("mac.json", R"({"colour": "red"})");
    EXPECT_EQ(program({"identity", "--machine", path}).run(),
              failure("machine description \"" + path + "\": unknown key \"colour\""));
}

// ---- the log

TEST(VELPostureProgram, WritesTheLogToAFile) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    EXPECT_EQ(checkOfCompliantMac(R"({"mac": [{"type": "x"}]})", {"--log", path}).run().status, 1);
    std::istringstream lines(contentOf(path));
    std::vector<std::pair<int, std::string>> logged;
    for (std::string line; std::getline(lines, line);) {
        const auto object = nlohmann::json::parse(line);
        EXPECT_EQ(object.size(), 7U);
        EXPECT_TRUE(object.at("file").get<std::string>().starts_with("Classes/")) << line;
        EXPECT_GT(object.at("line").get<int>(), 0);
        logged.emplace_back(object.at("level").get<int>(),
                            object.at("function").get<std::string>());
    }
    const std::vector<std::pair<int, std::string>> expected = {
        {1, "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]"},
        {1, "-[VELPostureCheckRunner runCheck:checkParams:error:]"},
        {3, "SetPostureCheckError"},
        {1, "-[VELPostureCheckRunner runDeviceTrustCheckFromDictionary:]"}};
    EXPECT_EQ(logged, expected);
}

TEST(VELPostureProgram, WritesTheLogToStandardError) {
    const Result result = checkOfCompliantMac("7", {"--log", "-"}).run();
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "{\"error\":\"the request is not an object\"}\n");
    EXPECT_TRUE(result.errors.starts_with(
        "{\"level\":3,\"message\":\"Error: the request is not an "
        "object\",\"file\":\"Classes/Shared/"
        "VELPostureCheckRunner.cpp\",\"function\":\"-[VELPostureCheckRunner errorResult:]\","
        "\"line\":"))
        << result.errors;
    EXPECT_TRUE(result.errors.ends_with("}\n"));
}

TEST(VELPostureProgram, OpensTheLogBeforeAnythingElse) {
    const TemporaryFolder folder;
    EXPECT_EQ(
        program({"check", "/none.json", "--machine", "/none.json", "--log", folder.path()}).run(),
        failure("cannot open the log \"" + folder.path() + "\": Is a directory"));
    EXPECT_EQ(program({"identity", "--log", "/nowhere/log"}).run(),
              failure("cannot open the log \"/nowhere/log\": No such file or directory"));
}

TEST(VELPostureProgram, AFailedLogIsReportedBesideTheResult) {
    EXPECT_EQ(
        checkOfCompliantMac(passingRequest, {"--log", "/dev/full"}).run(),
        (Result{2, passingResult,
                "vel-posture: cannot write the log \"/dev/full\": No space left on device\n"}));
}

TEST(VELPostureProgram, ParallelRunsShareALogByTheirIdentifiers) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    const std::string run = std::string("\"") + VEL_POSTURE_PROGRAM + "\" check \"" + examples +
                            "/Requests/posture.json\" --machine \"" + compliantMac + "\" --log \"" +
                            path + "\" --log-level information >/dev/null";
    const ChildProgram both{{"/bin/sh", "-c", run + " & " + run + "; wait"}};
    EXPECT_EQ(both.run(), (Result{0, "", ""}));
    std::map<std::string, std::vector<std::string>> messages;
    std::istringstream lines(contentOf(path));
    for (std::string line; std::getline(lines, line);) {
        const auto object = nlohmann::json::parse(line);
        EXPECT_GE(object.at("level").get<int>(), 1);
        messages[object.at("run").get<std::string>()].push_back(
            object.at("message").get<std::string>());
    }
    ASSERT_EQ(messages.size(), 2U);
    EXPECT_EQ(messages.begin()->second, messages.rbegin()->second);
    EXPECT_EQ(messages.begin()->first.size(), 32U);
}

// ---- several requests, exit statuses

const std::string failingRequest = R"({"mac": [{"type": "minimumOSVersion", "version": "99"}]})";
const std::string erringRequest = R"({"mac": [{"type": "minimumOSVersion", "version": 1}]})";

TEST(VELPostureProgram, RunsSeveralRequestsALineEach) {
    const TemporaryFolder folder;
    const std::string passing = folder.write("passing.json", passingRequest);
    const std::string empty = folder.write("empty.json", "{}");
    const std::string identity = folder.write("identity.json", R"({"identity_params": []})");
    EXPECT_EQ(program({"check", passing, empty, identity, "--machine", compliantMac}).run(),
              (Result{0,
                      passingResult + emptyResult +
                          R"({"identity_params":{},"metrics":{"total_ms":0.0}})"
                          "\n",
                      "vel-posture: \"" + empty + "\": no checks under \"mac\"\n"}));
    EXPECT_EQ(
        program({"check", passing, identity, "--machine", compliantMac, "--format", "text"}).run(),
        (Result{0, passing + ":\n" + passingReport + "\n" + identity + ":\nno identity values\n",
                ""}));
    EXPECT_EQ(
        program({"check", passing, folder.path() + "/none.json"}).run(),
        failure("cannot read \"" + folder.path() + "/none.json\": No such file or directory"));
    EXPECT_EQ(program({"check", "-", "-"}).run(), failure("standard input can be read only once"));
}

TEST(VELPostureProgram, TheWorstStatusOfSeveralRequestsCounts) {
    const TemporaryFolder folder;
    const std::string passing = folder.write("passing.json", passingRequest);
    const std::string failing = folder.write("failing.json", failingRequest);
    const std::string erring = folder.write("erring.json", erringRequest);
    const std::string refused = folder.write("refused.json", "7");
    const auto statusOf = [](std::vector<std::string> requests) {
        requests.insert(requests.begin(), "check");
        requests.insert(requests.end(), {"--strict-exit", "--machine", compliantMac});
        return program(requests).run().status;
    };
    EXPECT_EQ(statusOf({passing, passing}), 0);
    EXPECT_EQ(statusOf({erring, passing}), 3);
    EXPECT_EQ(statusOf({erring, failing, passing}), 1);
    EXPECT_EQ(statusOf({failing, erring}), 1);
    EXPECT_EQ(statusOf({failing, refused, erring}), 2);
}

TEST(VELPostureProgram, TheDescribedMacsHaveTheseStatuses) {
    const std::map<std::string, std::pair<int, int>> statuses = {
        {"agent-not-running", {1, 1}},
        {"certificate-missing", {1, 1}},
        {"compliant", {0, 0}},
        {"expired-identity", {1, 1}},
        {"external-drive-unencrypted", {0, 0}},
        {"firewall-off", {1, 1}},
        {"firewall-tool-fails", {1, 3}},
        {"keychain-empty", {1, 1}},
        {"nothing-known", {1, 1}},
        {"other-domain", {1, 1}},
        {"out-of-date", {1, 1}},
        {"status-file-encrypted", {0, 0}},
        {"status-file-malformed", {1, 3}},
        {"tool-hangs", {1, 3}},
        {"unbound", {1, 1}},
        {"unencrypted", {1, 1}},
        {"unsigned-agent", {1, 3}},
        {"untrusted-identity", {1, 3}},
        {"wrong-signer", {1, 3}}};
    std::map<std::string, std::pair<int, int>> found;
    for (const auto& entry : std::filesystem::directory_iterator(examples + "/Machines")) {
        const Arguments check = {"check", examples + "/Requests/all-checks.json", "--machine",
                                 entry.path(), "--quiet"};
        Arguments strict = check;
        strict.emplace_back("--strict-exit");
        const Result plain = program(check).run();
        EXPECT_EQ(plain.output, "");
        found[entry.path().stem()] = {plain.status, program(strict).run().status};
    }
    EXPECT_EQ(found, statuses);
}

TEST(VELPostureProgram, ShowsOnlyWhatFails) {
    const std::string request = R"({"mac": [{"type": "minimumOSVersion", "version": "13"},
        {"type": "minimumOSVersion", "version": 14, "title": "Version"}]})";
    EXPECT_EQ(checkOfCompliantMac(request, {"--only-failing", "--format", "text"}).run(),
              (Result{1,
                      "RESULT     MS  CHECK             DETAIL\n"
                      "error   0.000  minimumOSVersion  Invalid version type in OS version check. "
                      "(title: Version)\n"
                      "\n"
                      "NOT PASSED  1 of 2 checks passed, 1 error, 0.000 ms\n",
                      ""}));
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--only-failing", "--format", "text"}).run(),
              (Result{0, "PASSED  1 of 1 check passed, 0.000 ms\n", ""}));
    EXPECT_EQ(checkOfCompliantMac(failingRequest, {"--quiet"}).run(), (Result{1, "", ""}));
}

// ---- formats for other programs

TEST(VELPostureProgram, PutsResultsIntoEnvelopes) {
    const std::string request =
        R"({"name": "base", "version": 3, "mac": [{"type": "minimumOSVersion", "version": "13"}]})";
    const Result result = checkOfCompliantMac(request, {"--envelope"}).run();
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.output.ends_with(
        ",\"result\":" + passingResult.substr(0, passingResult.size() - 1) + "}\n"));
    const auto envelope = nlohmann::json::parse(result.output);
    EXPECT_EQ(envelope.size(), 6U);
    EXPECT_EQ(envelope.at("program"), "vel_device_trust 1.0.0");
    EXPECT_EQ(envelope.at("run").get<std::string>().size(), 32U);
    EXPECT_EQ(envelope.at("host").get<std::string>() + "\n",
              (ChildProgram{{"/bin/uname", "-n"}}.run().output));
    const TemporaryFolder folder;
    const std::string path = folder.write("request.json", request);
    const std::string digest =
        ChildProgram{{"/usr/bin/sha256sum", path}}.run().output.substr(0, 64);
    EXPECT_EQ(envelope.at("request"),
              (nlohmann::json{{"name", "base"}, {"version", 3}, {"sha256", digest}}));
    const auto plain =
        nlohmann::json::parse(checkOfCompliantMac(passingRequest, {"--envelope"}).run().output);
    EXPECT_EQ(plain.at("request").size(), 1U);
    EXPECT_EQ(nlohmann::json::parse(
                  program({"identity", "--envelope", "--machine", compliantMac}).run().output)
                  .at("result")
                  .at("identity_params")
                  .size(),
              2U);
}

TEST(VELPostureProgram, ReplacesTheOutputFileAsAWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.write("out", "old");
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--output", path}).run(), (Result{0, "", ""}));
    EXPECT_EQ(contentOf(path), passingResult);
    EXPECT_EQ(program({"check", folder.path() + "/none", "--output", path}).run().status, 2);
    EXPECT_EQ(contentOf(path), passingResult);
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--output", "/nowhere/out"}).run(),
              failure("cannot write \"/nowhere/out\": No such file or directory"));
    EXPECT_EQ(checkOfCompliantMac(passingRequest, {"--output", folder.path()}).run(),
              failure("cannot write \"" + folder.path() + "\": Is a directory"));
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        ++files;
    }
    EXPECT_EQ(files, 1U);
}

TEST(VELPostureProgram, AFileThatAKilledRunLeftKeepsNoOtherFromWriting) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/out";
    ChildProgram shell{{"/bin/sh", "-c",
                        R"(: >"$1.$$.tmp"; exec "$0" check --machine "$2" --output "$1")",
                        VEL_POSTURE_PROGRAM, path, compliantMac}};
    shell.input = passingRequest;
    EXPECT_EQ(shell.run(), (Result{0, "", ""}));
    EXPECT_EQ(contentOf(path), passingResult);
}

TEST(VELPostureProgram, EndsWithTheUsualStatusOfASignal) {
    // Under nohup it is ignored, which children inherit.
    const auto previous = std::signal(SIGHUP, SIG_DFL);
    for (const auto& [signal, status] : {std::pair("TERM", "143"), std::pair("HUP", "129")}) {
        const TemporaryFolder folder;
        const ChildProgram shell{
            {"/bin/sh", "-c",
             "mkfifo \"$1/in\"; \"$0\" check <>\"$1/in\" >/dev/null 2>&1 & kill -" +
                 std::string(signal) + " $!; wait $!; echo $?",
             VEL_POSTURE_PROGRAM, folder.path()}};
        EXPECT_EQ(shell.run().output, std::string(status) + "\n");
    }
    std::signal(SIGHUP, previous);
}

// ---- output that fails

TEST(VELPostureProgram, ReportsThatItsOutputFails) {
    ChildProgram child = checkOfCompliantMac(passingRequest);
    child.outputStream = ChildStream::withoutReader;
    EXPECT_EQ(child.run(), failure("cannot write to standard output: Broken pipe"));
    child.outputStream = ChildStream::fullDevice;
    EXPECT_EQ(child.run(), failure("cannot write to standard output: No space left on device"));
    child.outputStream = ChildStream::closed;
    EXPECT_EQ(child.run(), failure("cannot write to standard output: Bad file descriptor"));

    ChildProgram help = program({"--help"});
    help.outputStream = ChildStream::fullDevice;
    EXPECT_EQ(help.run(), failure("cannot write to standard output: No space left on device"));
}

TEST(VELPostureProgram, NoFileBecomesAClosedStream) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/log";
    ChildProgram child = checkOfCompliantMac(passingRequest, {"--log", path});
    child.outputStream = ChildStream::closed;
    EXPECT_EQ(child.run().status, 2);
    EXPECT_EQ(contentOf(path).find("\"checks\":[{\"pass\":true,\"type\":\"minimumOSVersion\","
                                   "\"version\":\"13\"}],\"metrics\":{\"details\":[{\"check\":{"),
              std::string::npos);
}

TEST(VELPostureProgram, SurvivesAClosedStandardError) {
    for (const ChildStream stream :
         {ChildStream::closed, ChildStream::withoutReader, ChildStream::fullDevice}) {
        ChildProgram child = program({"check", "/none.json"});
        child.errorStream = stream;
        EXPECT_EQ(child.run(), (Result{2, "", ""}));
        child = checkOfCompliantMac(passingRequest);
        child.errorStream = stream;
        EXPECT_EQ(child.run(), (Result{0, passingResult, ""}));
        child.arguments.insert(child.arguments.end(), {"--log", "-"});
        EXPECT_EQ(child.run(), (Result{2, passingResult, ""}));
    }
}

// ---- terminals

TEST(VELPostureProgram, ReportsInColourOnATerminal) {
    ChildProgram child = checkOfCompliantMac(passingRequest);
    child.outputStream = ChildStream::terminal;
    const std::string inColour = "RESULT     MS  CHECK             DETAIL\n"
                                 "\x1b[1;32mpass\x1b[0m    0.000  minimumOSVersion  version: 13\n"
                                 "\n"
                                 "\x1b[1;32mPASSED\x1b[0m  1 of 1 check passed, 0.000 ms\n";
    EXPECT_EQ(child.run(), (Result{0, inColour, ""}));
    child.environment = {{"NO_COLOR", ""}};
    EXPECT_EQ(child.run(), (Result{0, inColour, ""}));
    child.environment = {{"NO_COLOR", "0"}};
    EXPECT_EQ(child.run(), (Result{0, passingReport, ""}));
    child.environment = {{"TERM", "dumb"}};
    EXPECT_EQ(child.run(), (Result{0, passingReport, ""}));
    child.arguments.insert(child.arguments.end(), {"--format", "json"});
    EXPECT_EQ(child.run(), (Result{0, passingResult, ""}));
}

TEST(VELPostureProgram, WrapsToTheWidthOfTheTerminal) {
    ChildProgram child = checkOfCompliantMac(R"({"mac": [{"type": "minimumOSVersion"}]})");
    child.outputStream = ChildStream::terminal;
    child.environment = {{"NO_COLOR", "1"}};
    child.columns = 61;
    const std::string at61 = "RESULT     MS  CHECK             DETAIL\n"
                             "error   0.000  minimumOSVersion  Required parameter \"version\"\n"
                             "                                 missing from check type\n"
                             "                                 \"minimumOSVersion\".\n"
                             "\n"
                             "NOT PASSED  0 of 1 check passed, 1 error, 0.000 ms\n";
    const std::string at40 = "error   minimumOSVersion  0.000 ms\n"
                             "        Required parameter \"version\"\n"
                             "        missing from check type\n"
                             "        \"minimumOSVersion\".\n"
                             "\n"
                             "NOT PASSED  0 of 1 check passed,\n"
                             "            1 error, 0.000 ms\n";
    EXPECT_EQ(child.run().output, at61);
    child.environment["COLUMNS"] = "40";
    EXPECT_EQ(child.run().output, at40);
    child.columns = 40;
    for (const char* useless : {"", "0", "61x", "-1", "99999999999999999999999"}) {
        child.environment["COLUMNS"] = useless;
        EXPECT_EQ(child.run().output, at40) << useless;
    }
}

TEST(VELPostureProgram, NothingInARequestSteersTheTerminal) {
    ChildProgram child =
        checkOfCompliantMac(R"({"mac": [{"type": "\u001b]0;x\u0007\u009b2J\n"}]})", {"--log", "-"});
    child.outputStream = ChildStream::terminal;
    child.errorStream = ChildStream::terminal;
    child.environment = {{"NO_COLOR", "1"}};
    const Result result = child.run();
    EXPECT_EQ(result.status, 1);
    for (const std::string& text : {result.output, result.errors}) {
        EXPECT_NE(text.find("\\u009b2J\\n"), std::string::npos) << text;
        for (const char* control : {"\x1b", "\x07", "\u009b", "\r"}) {
            EXPECT_EQ(text.find(control), std::string::npos) << text;
        }
    }
}

TEST(VELPostureProgram, SaysThatItReadsFromATerminal) {
    ChildProgram child = checkOfCompliantMac(passingRequest + "\n");
    child.inputStream = ChildStream::terminal;
    EXPECT_EQ(
        child.run(),
        (Result{0, passingResult,
                "vel-posture: reading a request from standard input (end it with Ctrl-D)\n"}));
}

} // namespace
