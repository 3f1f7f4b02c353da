// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/Redaction.h"

#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Recording/VELRecordedMachine.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/GeneratedMachines.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/Sanitized.h"
#include "Tools/vel-posture/ProgramFailure.h"

#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace vel::recorded;
using ToolRun = Run; // a test has a Run of its own

class Redaction : public testing::Test {
protected:
    ~Redaction() override { VELDTLogger::setLogger(nullptr); }
};

/// What stands in a result of the device: pass, fail or error of each check, or identity values.
VELValue verdicts(const std::string& result) {
    const VELValue value = VELValue::parse(result);
    VELValue found = VELValue::array();
    if (!value.contains("checks")) {
        found = value;
        found.erase("metrics");
    } else {
        for (const VELValue& check : value.at("checks")) {
            found.push_back(check.contains("error") ? VELValue("error") : check.at("pass"));
        }
    }
    return found;
}

/// Holds that requests have the same verdicts on the redacted recording. Returns its description.
std::string expectSameVerdicts(const std::vector<VELValue>& requests,
                               const std::shared_ptr<const VELPlatform>& machine) {
    const auto recording = std::make_shared<VELRecording>();
    const auto platform = std::make_shared<const VELRecordingPlatform>(machine, recording);
    std::vector<VELValue> expected;
    for (const VELValue& request : requests) {
        expected.push_back(verdicts(examples::answer(request.dump(), platform).result));
    }
    std::string error;
    const std::string description =
        vel::descriptionOfAnswers(redacted(recording->answers(), requests), &error)
            .value_or("no description");
    const auto replay = vel::machineFromDescription(description, &error);
    if (replay == nullptr) {
        ADD_FAILURE() << error;
        return description;
    }
    for (std::size_t index = 0; index < requests.size(); ++index) {
        EXPECT_EQ(verdicts(examples::answer(requests[index].dump(), replay).result),
                  expected[index])
            << description;
    }
    return description;
}

TEST_F(Redaction, LeavesTheVerdictsOfEveryExample) {
    for (const std::string& name : examples::filesIn("Machines")) {
        for (const std::string& request : examples::filesIn("Requests")) {
            SCOPED_TRACE(name + " " + request);
            keepMachineDescription(expectSameVerdicts({VELValue::parse(examples::request(request))},
                                                      examples::machine(name)));
        }
    }
}

TEST_F(Redaction, LeavesTheVerdictsOfGeneratedMachines) {
    constexpr unsigned machines = 250;
    constexpr unsigned requestsPerMachine = 4;
    for (unsigned seed = 0; seed < machines && !HasFailure(); seed += sampleStep) {
        GeneratedMachines generated(seed);
        const std::string machine = generated.machine().dump();
        std::vector<VELValue> requests;
        for (unsigned count = 0; count < requestsPerMachine; ++count) {
            requests.push_back(generated.request());
        }
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + machine);
        const std::string description =
            expectSameVerdicts(requests, vel::machineFromDescription(machine, nullptr));
        for (const char* name : {"anna", "Anna", "launchPath", "SampleAgent/"}) {
            EXPECT_EQ(description.find(name), std::string::npos) << name;
        }
        keepMachineDescription(description);
    }
}

std::vector<VELRecordedAnswer> redactedAnswers(const std::vector<VELRecordedAnswer::Answer>& given,
                                               const char* request) {
    std::vector<VELRecordedAnswer> answers;
    for (const auto& answer : given) {
        answers.push_back({std::nullopt, answer, {}});
    }
    return redacted(std::move(answers), std::vector<VELValue>{VELValue::parse(request)});
}

std::string redactedOutput(std::vector<std::string> command, const std::string& output,
                           const char* request = "{}") {
    ToolRun run{.command = std::move(command)};
    run.output = output;
    return std::get<ToolRun>(redactedAnswers({run}, request).at(0).answer).output;
}

TEST_F(Redaction, LeavesIdentityValuesOutUnlessTheyAreAskedFor) {
    const std::vector<VELRecordedAnswer::Answer> answers = {
        SerialNumber{"C02"}, PreferenceValue{"deviceId", "a", VELPreferencesScope::anyUser, "x"}};
    EXPECT_EQ(redactedAnswers(answers, R"({"mac": []})").size(), 0U);
    const auto serialNumber =
        redactedAnswers(answers, R"({"identity_params": ["DEVICE_serial_number", 7]})");
    ASSERT_EQ(serialNumber.size(), 1U);
    EXPECT_EQ(std::get<SerialNumber>(serialNumber[0].answer).serialNumber, "C02");
    const auto deviceID = redactedAnswers(answers, R"({"identity_params": ["device_id"]})");
    ASSERT_EQ(deviceID.size(), 1U);
    EXPECT_EQ(std::get<PreferenceValue>(deviceID[0].answer).value, VELValue("x"));
}

TEST_F(Redaction, KeepsTheLinesOfNamedProcesses) {
    const char* const listing = "  PID TTY  TIME CMD\n  1 ?? 0:01 launchd\n 41 ?? 0:01 Mail\n";
    EXPECT_EQ(redactedOutput({"/bin/ps", "-axc"}, listing), "");
    EXPECT_EQ(redactedOutput({"/bin/ps", "-axc"}, listing,
                             R"({"mac": [{"type": "anyProcessRunning",
                                          "processes": [{"name": "mail"}, {"name": 7}, 7]}]})"),
              " 41 ?? 0:01 Mail\n");
    EXPECT_EQ(redactedOutput({"/bin/ps", "-axc"}, "1 \xFF Mail"), "\xFF");
}

TEST_F(Redaction, KeepsTheDomainAlone) {
    EXPECT_EQ(redactedOutput({"/usr/sbin/dsconfigad", "-show", "-xml"},
                             "<plist><dict><key>General Info</key><dict><key>Computer Account</key>"
                             "<string>anna$</string><key>Active Directory Domain</key>"
                             "<string>a&amp;b&lt;\r&#13;</string></dict></dict></plist>"),
              "<plist version=\"1.0\"><dict><key>General Info</key><dict>"
              "<key>Active Directory Domain</key><string>a&amp;b&lt;\n&#13;</string></dict></dict>"
              "</plist>\n");
    EXPECT_EQ(redactedOutput({"/usr/sbin/dsconfigad", "-show", "-xml"}, "<plist><dict/></plist>"),
              "");
    EXPECT_EQ(redactedOutput({"/usr/sbin/dsconfigad", "-show", "-xml"}, "anna$"), "<");
    EXPECT_EQ(redactedOutput({"/usr/sbin/dsconfigad", "-show", "-xml"}, ""), "");
}

TEST_F(Redaction, KeepsTheUnitOfASignerAlone) {
    const std::vector<std::string> command = {
        "/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"};
    EXPECT_EQ(redactedOutput(command, "subject= /CN=anna/OU=TEAM42/O=a\n"),
              "subject= /OU=TEAM42/\n");
    EXPECT_EQ(redactedOutput(command, "subject= /CN=anna\n"), "");
}

TEST_F(Redaction, KeepsTheStateOfTheFirewallAndNothingOfOtherTools) {
    const std::string firewall = "/usr/libexec/ApplicationFirewall/socketfilterfw";
    EXPECT_EQ(redactedOutput({firewall, "--getglobalstate"}, "(State = 1)"), "(State = 1)");
    EXPECT_EQ(redactedOutput({firewall, "--listapps"}, "/Users/anna/a"), "");
    EXPECT_EQ(redactedOutput({"/usr/sbin/dsconfigad", "-show"}, "anna"), "");
    EXPECT_EQ(redactedOutput({"/usr/bin/codesign"}, "Executable=/Users/anna/a"), "");
}

TEST_F(Redaction, DoesNotSayWhereToolsAre) {
    const ToolRun run{
        .command = {"/bin/ps"}, .launchPath = "/home/anna/ps", .launchFailure = "anna"};
    const auto answers = redactedAnswers({run}, "{}");
    EXPECT_EQ(std::get<ToolRun>(answers[0].answer).launchPath, "/bin/ps");
    EXPECT_EQ(std::get<ToolRun>(answers[0].answer).launchFailure, "the tool cannot be launched");
}

TEST_F(Redaction, NumbersUnusualMountPoints) {
    const auto answers = redactedAnswers({MountTable{{{{"apfs", "/"},
                                                       {"apfs", "/Volumes/Anna"},
                                                       {"apfs", "/Users/anna"},
                                                       {"apfs", "/Volumes/Anna"}}}},
                                          Disk{"/Users/anna", true}, DiskMedia{"/", true}},
                                         "{}");
    const auto& mounts = std::get<MountTable>(answers[0].answer).mounts.value();
    std::vector<std::string> mountPoints;
    for (const VELMount& mount : mounts) {
        mountPoints.push_back(mount.mountPoint);
    }
    EXPECT_EQ(mountPoints, (std::vector<std::string>{"/", "/volume-1", "/volume-2", "/volume-1"}));
    EXPECT_EQ(std::get<Disk>(answers[1].answer).mountPoint, "/volume-2");
    EXPECT_EQ(std::get<DiskMedia>(answers[2].answer).mountPoint, "/");
}

TEST_F(Redaction, KeepsNamesOfDevicesThatAreTheSystems) {
    std::vector<VELMount> mounts;
    for (const char* device :
         {"", "disk3s1s1", "nvme0n1p2", "dm-0", "mapper/annas--laptop-root", "vg/anna",
          "disk/by-label/Anna", "//server/share", "server:/path", "Anna", "anna@server", "\xFF"}) {
        mounts.push_back({"apfs", "/", device});
    }
    const auto answers = redactedAnswers({MountTable{mounts}}, "{}");
    std::vector<std::string> devices;
    for (const VELMount& mount : std::get<MountTable>(answers[0].answer).mounts.value()) {
        devices.push_back(mount.device);
    }
    EXPECT_EQ(devices, (std::vector<std::string>{"", "disk3s1s1", "nvme0n1p2", "dm-0", "", "", "",
                                                 "", "", "", "", ""}));
}

TEST_F(Redaction, KeepsTheStateOfTheStatusFileAlone) {
    const auto contents = [](const char* bytes) {
        return std::get<FileContents>(
                   redactedAnswers({FileContents{"/a", bytes}}, "{}").at(0).answer)
            .bytes;
    };
    EXPECT_EQ(contents("<plist><dict><key>encryptionState</key><string>1,0</string>"
                       "<key>owner</key><string>anna</string></dict></plist>"),
              "<plist version=\"1.0\"><dict><key>encryptionState</key><string>1,0</string></dict>"
              "</plist>\n");
    EXPECT_EQ(contents("anna"), std::nullopt);
}

TEST_F(Redaction, KeepsTheCertificatesAskedFor) {
    const auto answers =
        redactedAnswers({Certificates{VELSecurityStatus::success, {"abc", "other"}}},
                        R"({"mac": [{"type": "certificatePresent",
                     "sha1": "A9 99 3E 36 47 06 81 6A BA 3E 25 71 78 50 C2 6C 9C D0 D8 9D"}]})");
    EXPECT_EQ(std::get<Certificates>(answers[0].answer).certificates,
              std::vector<std::string>{"abc"});
}

} // namespace
