// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordedMachine.h"

#include "Tests/Support/KeptDocuments.h"

#include <chrono>
#include <cstdint>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using namespace vel::recorded;
using ToolRun = Run; // a test has a Run of its own
using namespace std::chrono_literals;

using Answers = std::vector<VELRecordedAnswer::Answer>;

std::vector<VELRecordedAnswer> recorded(const Answers& answers) {
    std::vector<VELRecordedAnswer> result;
    for (const auto& answer : answers) {
        result.push_back({std::nullopt, answer, 5ms});
    }
    return result;
}

VELValue descriptionOf(const Answers& answers) {
    std::string error = "untouched";
    const auto text = vel::descriptionOfAnswers(recorded(answers), &error);
    EXPECT_EQ(error, "untouched");
    keepMachineDescription(text.value_or(""));
    return VELValue::parse(text.value_or(""));
}

std::string errorOf(const Answers& answers) {
    std::string error;
    EXPECT_EQ(vel::descriptionOfAnswers(recorded(answers), &error), std::nullopt);
    EXPECT_EQ(vel::descriptionOfAnswers(recorded(answers), nullptr), std::nullopt);
    return error;
}

VELValue json(std::string_view text) {
    return VELValue::parse(text);
}

std::shared_ptr<const VELValue> shared(VELValue value) {
    return std::make_shared<const VELValue>(std::move(value));
}

TEST(RecordedMachine, WithoutAnswersIsEmpty) {
    EXPECT_EQ(descriptionOf({}), json("{}"));
}

TEST(RecordedMachine, WhatIsAbsentIsNotDescribed) {
    EXPECT_EQ(descriptionOf({ProductVersion{}, SerialNumber{},
                             PreferenceValue{"a", "b", VELPreferencesScope::anyUser, {}},
                             FileExists{"/a", false}, FileContents{"/a", {}}, DiskSession{true}}),
              json("{}"));
}

TEST(RecordedMachine, EveryAnswerHasItsPlace) {
    EXPECT_EQ(
        descriptionOf({ProductVersion{"14.5"}, SerialNumber{"C02"},
                       PreferenceValue{"a", "b", VELPreferencesScope::anyUser, 1},
                       PreferenceValue{"a", "b", VELPreferencesScope::currentUser, "x"},
                       PreferenceInteger{"a", "b", {7, true}},
                       PreferenceInteger{"c", "b", {0, false}}, FileExists{"/a", true},
                       FileContents{"/a", {}}, FileExists{"/b", true}, FileContents{"/b", "text"},
                       FileContents{"/c", "\xFF"}, FileExists{"/c", true}, DiskSession{false}}),
        json(R"({"productVersion": "14.5", "serialNumber": "C02",
                 "preferences": {"machine": {"b": {"a": 1}}, "user": {"b": {"a": "x"}},
                                 "integers": {"b": {"a": 7, "c": null}}},
                 "files": {"/a": {"unreadable": true}, "/b": "text", "/c": {"base64": "/w=="}},
                 "diskSession": false})"));
}

TEST(RecordedMachine, AMountHasTheDiskFoundAtItsPath) {
    EXPECT_EQ(
        descriptionOf(
            {MountTable{{{{"apfs", "/", "disk3s1"}, {"\xFF", "/\xFF", "\xFF"}, {"apfs", "/bare"}}}},
             Disk{"/", true},
             DiskDescription{"/", VELDiskDescription{shared(true), nullptr, shared(nullptr)}},
             DiskMedia{"/", true}, MediaProperty{"/", "Encrypted", false},
             MediaProperty{"/", "Sealed", {}}, DiskMedia{"/", true}, Disk{"/bare", true},
             DiskDescription{"/bare", {}}, DiskMedia{"/bare", false}}),
        json(R"({"mounts": [
                  {"type": "apfs", "path": "/", "device": "disk3s1", "disk": {
                      "description": {"internal": true, "kind": null},
                      "media": {"Encrypted": false}}},
                  {"type": {"base64": "/w=="}, "path": {"base64": "L/8="},
                   "device": {"base64": "/w=="}},
                  {"type": "apfs", "path": "/bare", "disk": {}}]})"));
    EXPECT_EQ(descriptionOf({MountTable{}}), json(R"({"mounts": null})"));
    EXPECT_EQ(errorOf({MountTable{{{{"apfs", "/"}}}}, Disk{"/a", true}}),
              "a disk was found where nothing is mounted");
}

TEST(RecordedMachine, TheKeychainAnswersAsItDid) {
    using enum VELSecurityStatus;
    const VELError error("domain", 3, json(R"({"a": "b"})"));
    EXPECT_EQ(
        descriptionOf({Certificates{success, {"a"}}, Identities{"i", success, 3},
                       IdentityCertificate{"i", 0, notAvailable, {}},
                       IdentityCertificate{"i", 1, success, "c"}, Identities{"j", itemNotFound, 0},
                       Trust{.leaf = "c", .anchor = "r", .isTrusted = true},
                       Trust{.leaf = "d", .anchor = "r", .isTrusted = false, .error = error},
                       Trust{.leaf = "e", .created = allocate},
                       Trust{.leaf = "f", .anchor = "r", .anchored = parameter}}),
        json(R"({"keychain": {
            "certificates": ["YQ=="], "certificatesStatus": 0,
            "identityQueries": [
                {"issuer": "aQ==", "status": 0, "identities": [
                    {"certificate": "", "certificateStatus": -25291}, {"certificate": "Yw=="}]},
                {"issuer": "ag==", "status": -25300, "identities": []}],
            "trust": [
                {"certificate": "Yw==", "anchor": "cg==", "trusted": true},
                {"certificate": "ZA==", "anchor": "cg==", "trusted": false,
                 "error": {"domain": "domain", "code": 3, "userInfo": {"a": "b"}}},
                {"certificate": "ZQ==", "trustStatus": -108},
                {"certificate": "Zg==", "anchor": "cg==", "anchorsStatus": -50}]}})"));
    EXPECT_EQ(descriptionOf({Certificates{success, {}}}),
              json(R"({"keychain": {"certificates": [], "certificatesStatus": 0}})"));
}

/// What describes a run of "/a" in which everything went well but what `change` changes.
template <typename Change> VELValue runAfter(const Change& change) {
    ToolRun run{.command = {"/a", "b"}, .launchPath = "/a"};
    run.status = 0;
    run.outputState = ToolRun::Output::complete;
    change(run);
    VELValue tools = descriptionOf({run}).at("tools");
    EXPECT_EQ(tools.size(), 1U);
    tools[0].erase("command");
    return tools[0];
}

TEST(RecordedMachine, ARunIsItsCourse) {
    EXPECT_EQ(runAfter([](ToolRun&) {}), json("{}"));
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.launchPath = "/opt/a";
                  run.after = {"/c"};
                  run.output = "text";
                  run.runningTime = 250ms;
                  run.outputTime = 250ms;
              }),
              json(R"({"launchPath": "/opt/a", "after": ["/c"], "output": "text",
                       "seconds": 0.5})"));
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.launchFailure = "no";
                  run.status = std::nullopt;
              }),
              json(R"({"launchFailure": "no"})"));
    EXPECT_EQ(runAfter([](ToolRun& run) { run.output = std::string("\xFF\0", 2); }),
              json(R"({"outputBase64": "/wA="})"));
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.outputState = ToolRun::Output::notRead;
                  run.status = -1;
              }),
              json(R"({"status": -1})"));
    EXPECT_EQ(runAfter([](ToolRun& run) { run.outputState = ToolRun::Output::unreadable; }),
              json(R"({"outputUnreadable": true})"));
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.outputState = ToolRun::Output::heldOpen;
                  run.runningTime = 500ms;
                  run.outputTime = 9500ms;
              }),
              json(R"({"seconds": 0.5, "secondsOutputIsHeld": 10.5})"));
}

TEST(RecordedMachine, AnOutputThatFillsAPipeNeedsALargerOne) {
    EXPECT_FALSE(
        runAfter([](ToolRun& run) { run.output.assign(65'536, 'x'); }).contains("pipeCapacity"));
    EXPECT_EQ(runAfter([](ToolRun& run) { run.output.assign(65'537, 'x'); }).at("pipeCapacity"),
              65'537);
}

TEST(RecordedMachine, AToolThatWasAskedToEndEndsAsItDid) {
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.runningTime = 10s;
                  run.terminatedAfter = 10s;
                  run.status = 15;
              }),
              json(R"({"seconds": 11.0, "status": 15, "statusOnTermination": 15})"));
    EXPECT_EQ(runAfter([](ToolRun& run) {
                  run.runningTime = 12500ms;
                  run.terminatedAfter = 10s;
                  run.status = 3;
              }),
              json(R"({"seconds": 12.5, "status": 3, "ignoresTermination": true})"));
    // By the clock of the recording it ran past its time-out, by the check's it did not.
    EXPECT_EQ(runAfter([](ToolRun& run) { run.runningTime = 10s; }),
              json(R"({"seconds": 10.0, "ignoresTermination": true})"));
    EXPECT_EQ(runAfter([](ToolRun& run) { run.runningTime = 1s; }),
              json(R"({"seconds": 1.0, "ignoresTermination": true})"));
    EXPECT_EQ(runAfter([](ToolRun& run) { run.runningTime = 999ms; }),
              json(R"({"seconds": 0.999})"));
    EXPECT_EQ(errorOf({ToolRun{.command = {"/a", "b"}}}), "a run of /a did not come to its end");
}

TEST(RecordedMachine, EveryNanosecondIsKept) {
    for (const std::int64_t count :
         {1LL, 3LL, 29LL, 999'999'999LL, 9'999'999'999LL, 1'234'567'890'123LL}) {
        const VELValue run = runAfter(
            [&](ToolRun& changed) { changed.runningTime = std::chrono::nanoseconds(count); });
        EXPECT_EQ(static_cast<std::int64_t>(run.at("seconds").get<double>() * 1e9), count);
    }
}

TEST(RecordedMachine, ARunIsKeptAsOftenAsItWas) {
    const ToolRun run{.command = {"/a"}, .launchPath = "/a", .launchFailure = "no"};
    EXPECT_EQ(descriptionOf({run, run}).at("tools").size(), 2U);
}

TEST(RecordedMachine, AQuestionHasOneAnswer) {
    EXPECT_EQ(descriptionOf({SerialNumber{"C02"}, SerialNumber{"C02"}}),
              json(R"({"serialNumber": "C02"})"));
    EXPECT_EQ(errorOf({SerialNumber{"C02"}, SerialNumber{}}),
              "the serial number changed in between");
    EXPECT_EQ(errorOf({ProductVersion{}, ProductVersion{"14"}}),
              "the product version changed in between");
    EXPECT_EQ(errorOf({PreferenceValue{"a", "b", VELPreferencesScope::anyUser, 1},
                       PreferenceValue{"a", "b", VELPreferencesScope::anyUser, 2}}),
              "the preference a of b (machine) changed in between");
    EXPECT_EQ(
        errorOf({PreferenceInteger{"a", "b", {0, false}}, PreferenceInteger{"a", "b", {0, true}}}),
        "the integer a of b changed in between");
    EXPECT_EQ(errorOf({FileExists{"/a", false}, FileContents{"/a", "x"}}),
              "the presence of /a changed in between");
    EXPECT_EQ(errorOf({FileContents{"/a", "y"}, FileContents{"/a", {}}}),
              "the content of /a changed in between");
    EXPECT_EQ(errorOf({DiskSession{true}, DiskSession{false}}),
              "the disk session changed in between");
    EXPECT_EQ(errorOf({MountTable{}, MountTable{{std::vector<VELMount>()}}}),
              "the mount table changed in between");
    EXPECT_EQ(errorOf({Disk{"/", true}, Disk{"/", false}}), "the disk at / changed in between");
    EXPECT_EQ(errorOf({DiskMedia{"/", true}, DiskMedia{"/", false}}),
              "the media object of the disk at / changed in between");
    EXPECT_EQ(errorOf({DiskDescription{"/", {}}, DiskDescription{"/", VELDiskDescription{}}}),
              "the description of the disk at / changed in between");
    EXPECT_EQ(errorOf({MediaProperty{"/", "a", {}}, MediaProperty{"/", "a", VELValue()}}),
              "the property a at / changed in between");
    EXPECT_EQ(errorOf({Certificates{VELSecurityStatus::success, {}},
                       Certificates{VELSecurityStatus::success, {"a"}}}),
              "the list of certificates changed in between");
    EXPECT_EQ(errorOf({Identities{"i", VELSecurityStatus::itemNotFound, 0},
                       Identities{"i", VELSecurityStatus::success, 1}}),
              "the identities of an issuer changed in between");
    EXPECT_EQ(errorOf({Trust{.leaf = "a", .anchor = "b", .isTrusted = true},
                       Trust{.leaf = "a", .anchor = "b", .isTrusted = false}}),
              "the trust in a certificate changed in between");
}

TEST(RecordedMachine, IdentitiesAreThoseThatWereAskedInOrder) {
    EXPECT_EQ(errorOf({Identities{"i", VELSecurityStatus::success, 2},
                       IdentityCertificate{"i", 1, VELSecurityStatus::success, "c"}}),
              "an identity was not asked for its certificate");
}

TEST(RecordedMachine, ATextThatIsNoUTF8HasNoDescription) {
    EXPECT_EQ(errorOf({SerialNumber{"\xFF"}}), "invalid UTF-8 byte at index 0: 0xFF");
}

} // namespace
