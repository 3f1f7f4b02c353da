// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELMachineDescription.h"

#include "Base/VELJSON.h"
#include "Tests/Support/KeptDocuments.h"

#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace {

using vel::machineFromDescription;

constexpr VELPreferencesScope anyUser = VELPreferencesScope::anyUser;
constexpr VELPreferencesScope currentUser = VELPreferencesScope::currentUser;

using Found = std::optional<VELValue>;

std::shared_ptr<VELSimulatedPlatform> machineFrom(std::string_view text) {
    std::string error = "untouched";
    auto machine = machineFromDescription(text, &error);
    EXPECT_NE(machine, nullptr) << error;
    EXPECT_EQ(error, "untouched");
    keepMachineDescription(text);
    return machine;
}

std::string errorOf(std::string_view text) {
    std::string error;
    EXPECT_EQ(machineFromDescription(text, &error), nullptr) << text;
    EXPECT_EQ(machineFromDescription(text, nullptr), nullptr) << text;
    return error;
}

TEST(MachineDescription, AnEmptyOneIsAMachineWithoutAnything) {
    const auto machine = machineFrom("{}");
    EXPECT_EQ(machine->productVersion(), std::nullopt);
    EXPECT_EQ(machine->serialNumber(), std::nullopt);
    EXPECT_TRUE(machine->preferenceStore.machine.empty());
    EXPECT_TRUE(machine->preferenceStore.user.empty());
    EXPECT_EQ(machine->ticks(), VELTimePoint());
}

TEST(MachineDescription, EveryKeyIsWhatTheMachineAnswers) {
    const auto machine = machineFrom(R"({
        "name": "a laptop", "productVersion": "14.5", "serialNumber": "C02EXAMPLE",
        "preferences": {
            "machine": {"com.vel.deviceId": {"deviceId": "machine-7", "list": [1, null]}},
            "user": {"com.vel.deviceId": {"deviceId": "user-7"}, "com.apple.alf": {}}}})");
    EXPECT_EQ(machine->productVersion(), "14.5");
    EXPECT_EQ(machine->serialNumber(), "C02EXAMPLE");
    const VELPreferences& preferences = machine->preferences();
    EXPECT_EQ(preferences.copyValue("deviceId", "com.vel.deviceId", anyUser), Found("machine-7"));
    EXPECT_EQ(preferences.copyValue("list", "com.vel.deviceId", anyUser),
              Found(VELValue::parse("[1, null]")));
    EXPECT_EQ(preferences.copyValue("deviceId", "com.vel.deviceId", currentUser), Found("user-7"));
    EXPECT_EQ(machine->preferenceStore.machine.size(), 1U);
    EXPECT_EQ(machine->preferenceStore.user.size(), 2U);
}

TEST(MachineDescription, AnEmptyTextIsPresent) {
    const auto machine = machineFrom(R"({"name": "", "productVersion": "", "serialNumber": ""})");
    EXPECT_EQ(machine->productVersion(), "");
    EXPECT_EQ(machine->serialNumber(), "");
}

TEST(MachineDescription, OfEqualKeysTheLastOneCounts) {
    const auto machine = machineFrom(R"({"productVersion": 14, "productVersion": "15.0"})");
    EXPECT_EQ(machine->productVersion(), "15.0");
}

TEST(MachineDescription, AnIntegerIsLookedUpForTheUserFirst) {
    const auto machine = machineFrom(R"({"preferences": {
        "machine": {"a": {"both": 1, "machine": 2, "hidden": 3}},
        "user": {"a": {"both": 10, "user": 20, "hidden": "text"}, "b": {}}}})");
    const auto integer = [&](std::string_view key) {
        const auto answer = machine->preferences().appIntegerValue(key, "a");
        return answer.found ? std::optional(answer.value) : std::nullopt;
    };
    EXPECT_EQ(integer("both"), 10);
    EXPECT_EQ(integer("user"), 20);
    EXPECT_EQ(integer("machine"), 2);
    // What the user says hides the machine's, whatever its type.
    EXPECT_EQ(integer("hidden"), std::nullopt);
    EXPECT_EQ(integer("other"), std::nullopt);
}

TEST(MachineDescription, OnlyAnIntegerHasTheIntegerFormat) {
    const auto machine = machineFrom(R"({"preferences": {"machine": {"a": {
        "integer": 1, "negative": -5, "largest": 9223372036854775807,
        "smallest": -9223372036854775808, "above": 9223372036854775808, "real": 1.0,
        "exponent": 1e2, "negativeZero": -0, "text": "1", "yes": true, "list": [1],
        "dictionary": {}}}}})");
    const auto integer = [&](std::string_view key) {
        const auto answer = machine->preferences().appIntegerValue(key, "a");
        EXPECT_TRUE(answer.found || answer.value == 0) << key;
        return answer.found ? std::optional(answer.value) : std::nullopt;
    };
    EXPECT_EQ(integer("integer"), 1);
    EXPECT_EQ(integer("negative"), -5);
    EXPECT_EQ(integer("largest"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(integer("smallest"), std::numeric_limits<std::int64_t>::min());
    for (const char* key :
         {"above", "real", "exponent", "negativeZero", "text", "yes", "list", "dictionary"}) {
        EXPECT_EQ(integer(key), std::nullopt) << key;
    }
}

struct WrongDescription {
    const char* text;
    const char* error;
};

TEST(MachineDescription, AnUnknownKeyIsNamed) {
    const WrongDescription wrong[] = {
        {R"({"serial": "x"})", R"(unknown key "serial")"},
        {R"({"productVersion": "14.5", "ProductVersion": "14.5"})",
         R"(unknown key "ProductVersion")"},
        {R"({"": 1})", R"(unknown key "")"},
        {R"({"na\"me": 1})", R"(unknown key "na\"me")"},
        {R"({"a": 1, "b": 2})", R"(unknown key "a")"},
        {R"({"preferences": {"machine": {}, "root": {}}})", R"(unknown key "root" in preferences)"},
        {R"({"mounts": [{}, {"kind": ""}]})", R"(unknown key "kind" in mounts[1])"},
        {R"({"mounts": [{"disk": {"name": ""}}]})", R"(unknown key "name" in mounts[0].disk)"},
        {R"({"mounts": [{"disk": {"description": {"Internal": true}}}]})",
         R"(unknown key "Internal" in mounts[0].disk.description)"},
        {R"({"mounts": [{"disk": {"media": {"Sealed": "No", "encrypted": true}}}]})",
         R"(unknown key "encrypted" in mounts[0].disk.media)"},
        {R"({"files": {"/a": {"base64": "", "text": ""}}})",
         R"(unknown key "text" in files["/a"])"},
        {R"({"preferences": {"Machine": {}}})", R"(unknown key "Machine" in preferences)"},
    };
    for (const auto& [text, error] : wrong) {
        EXPECT_EQ(errorOf(text), error) << text;
    }
}

TEST(MachineDescription, AWrongTypeIsNamedWithItsPlace) {
    const char* const values[] = {"null", "true", "1", "1.5", "\"text\"", "[]", "[{}]", "{}"};
    const auto expectOnly = [&](const std::string& before, const std::string& after,
                                std::string_view allowed, const std::string& error) {
        for (const std::string value : values) {
            if (value != allowed) {
                EXPECT_EQ(errorOf(before + value + after), error) << before << value << after;
            } else {
                machineFrom(before + value + after);
            }
        }
    };
    expectOnly("", "", "{}", "the description is not an object");
    expectOnly(R"({"name": )", "}", "\"text\"", "name is not a string");
    expectOnly(R"({"productVersion": )", "}", "\"text\"", "productVersion is not a string");
    expectOnly(R"({"serialNumber": )", "}", "\"text\"", "serialNumber is not a string");
    expectOnly(R"({"preferences": )", "}", "{}", "preferences is not an object");
    expectOnly(R"({"preferences": {"machine": )", "}}", "{}",
               "preferences.machine is not an object");
    expectOnly(R"({"preferences": {"user": )", "}}", "{}", "preferences.user is not an object");
    expectOnly(R"({"preferences": {"machine": {"com.vel.deviceId": )", "}}}", "{}",
               R"(preferences.machine["com.vel.deviceId"] is not an object)");
    expectOnly(R"({"preferences": {"user": {"a \"b\"]": )", "}}}", "{}",
               R"(preferences.user["a \"b\"]"] is not an object)");
    expectOnly(R"({"files": )", "}", "{}", "files is not an object");
    expectOnly(R"({"files": {"/a": {"base64": )", "}}}", "\"text\"",
               R"(files["/a"].base64 is not a string)");
    expectOnly(R"({"files": {"/a": {"unreadable": )", "}}}", "true",
               R"(files["/a"].unreadable is not a boolean)");
    expectOnly(R"({"diskSession": )", "}", "true", "diskSession is not a boolean");
    for (const char* value : {"true", "1", "1.5", "\"text\"", "{}"}) {
        EXPECT_EQ(errorOf(R"({"mounts": )" + std::string(value) + "}"), "mounts is not a list");
    }
    expectOnly(R"({"mounts": [{}, )", "]}", "{}", "mounts[1] is not an object");
    expectOnly(R"({"mounts": [{"disk": )", "}]}", "{}", "mounts[0].disk is not an object");
    expectOnly(R"({"mounts": [{"disk": {"description": )", "}}]}", "{}",
               "mounts[0].disk.description is not an object");
    expectOnly(R"({"mounts": [{"disk": {"media": )", "}}]}", "{}",
               "mounts[0].disk.media is not an object");
}

TEST(MachineDescription, AFileIsTextBytesOrUnreadable) {
    const auto machine = machineFrom(R"({"files": {"/text": "Gr\u00fc\u00dfe", "/empty": "",
        "/bytes": {"base64": "AP8="}, "/secret": {"unreadable": true},
        "/none": {"base64": "", "unreadable": false}}})");
    const VELFiles& files = machine->files();
    EXPECT_EQ(files.read("/text"), "Grüße");
    EXPECT_EQ(files.read("/empty"), "");
    EXPECT_EQ(files.read("/bytes"), std::string("\0\xFF", 2));
    EXPECT_EQ(files.read("/none"), "");
    EXPECT_TRUE(files.exists("/secret"));
    EXPECT_EQ(files.read("/secret"), std::nullopt);
    EXPECT_FALSE(files.exists("/"));
    EXPECT_EQ(files.read("/other"), std::nullopt);
}

TEST(MachineDescription, AFileThatIsNeitherIsRefused) {
    for (const char* value : {"null", "true", "1", "1.5", "[]"}) {
        EXPECT_EQ(errorOf(R"({"files": {"/a": )" + std::string(value) + "}}"),
                  R"(files["/a"] is neither a string nor an object)");
    }
    for (const char* value :
         {"{}", R"({"unreadable": false})", R"({"base64": "AA==", "unreadable": true})"}) {
        EXPECT_EQ(errorOf(R"({"files": {"/a": )" + std::string(value) + "}}"),
                  R"(files["/a"] has to have either base64 or an unreadable that is true)");
    }
    EXPECT_EQ(errorOf(R"({"files": {"/a": {"base64": "A"}}})"),
              R"(files["/a"].base64 is not base64)");
}

TEST(MachineDescription, TheDiskSessionIsThereUnlessItIsDenied) {
    EXPECT_NE(machineFrom("{}")->diskArbitration().createSession(), nullptr);
    EXPECT_NE(machineFrom(R"({"diskSession": true})")->diskArbitration().createSession(), nullptr);
    EXPECT_EQ(machineFrom(R"({"diskSession": false})")->diskArbitration().createSession(), nullptr);
}

TEST(MachineDescription, TheMountTableIsEmptyUnlessItIsDescribed) {
    EXPECT_TRUE(machineFrom("{}")->diskArbitration().mountTable().value().empty());
    EXPECT_TRUE(machineFrom(R"({"mounts": []})")->diskArbitration().mountTable().value().empty());
    EXPECT_FALSE(machineFrom(R"({"mounts": null})")->diskArbitration().mountTable());
}

TEST(MachineDescription, AMountIsWhatItsDiskSays) {
    const auto machine = machineFrom(R"({"mounts": [
        {"type": "apfs", "path": "/", "disk": {
            "description": {"internal": true, "protocol": "PCI", "kind": "apfs"},
            "media": {"Sealed": "No", "Role": ["Data"], "Encrypted": true,
                      "CoreStorage Encrypted": false}}},
        {"type": "devfs", "path": "/dev"},
        {"path": "/bare", "disk": {}, "device": "disk3s1"},
        {"disk": {"description": {}, "media": {}}}]})");
    const auto table = machine->diskArbitration().mountTable().value();
    ASSERT_EQ(table.size(), 4U);
    EXPECT_EQ(table[0].fileSystemType, "apfs");
    EXPECT_EQ(table[1].mountPoint, "/dev");
    EXPECT_EQ(table[1].device, "");
    EXPECT_EQ(table[2].fileSystemType, "");
    EXPECT_EQ(table[2].device, "disk3s1");
    EXPECT_EQ(table[3].mountPoint, "");

    const auto session = machine->diskArbitration().createSession();
    const auto disk = session->diskAtMountPoint("/");
    const auto description = disk->copyDescription().value();
    EXPECT_EQ(*description.deviceInternal, VELValue(true));
    EXPECT_EQ(*description.deviceProtocol, VELValue("PCI"));
    EXPECT_EQ(*description.volumeKind, VELValue("apfs"));
    const auto media = disk->copyMedia();
    EXPECT_EQ(media->property("Sealed"), Found("No"));
    EXPECT_EQ(media->property("Role"), Found(VELValue::array({"Data"})));
    EXPECT_EQ(media->property("Encrypted"), Found(true));
    EXPECT_EQ(media->property("CoreStorage Encrypted"), Found(false));

    EXPECT_EQ(session->diskAtMountPoint("/dev"), nullptr);
    const auto bare = session->diskAtMountPoint("/bare");
    EXPECT_FALSE(bare->copyDescription());
    EXPECT_EQ(bare->copyMedia(), nullptr);
    const auto blank = session->diskAtMountPoint("");
    EXPECT_EQ(blank->copyDescription().value().deviceInternal, nullptr);
    EXPECT_EQ(blank->copyMedia()->property("Encrypted"), std::nullopt);
}

TEST(MachineDescription, AValueOfADiskIsOfAnyType) {
    for (const char* value : {"null", "false", "1", "1.5", "\"text\"", "[null]", "{\"a\": 1}"}) {
        const std::string text(value);
        const auto machine = machineFrom(
            R"({"mounts": [{"disk": {"description": {"internal": )" + text + R"(, "protocol": )" +
            text + R"(, "kind": )" + text + R"(}, "media": {"Sealed": )" + text + R"(, "Role": )" +
            text + R"(, "Encrypted": )" + text + R"(, "CoreStorage Encrypted": )" + text + "}}}]}");
        const VELSimulatedDisk& disk = machine->disks.mounts->front().disk.value();
        const VELValue expected = VELValue::parse(text);
        EXPECT_EQ(*disk.description->deviceInternal, expected);
        EXPECT_EQ(*disk.description->deviceProtocol, expected);
        EXPECT_EQ(*disk.description->volumeKind, expected);
        for (const char* name : {"Sealed", "Role", "Encrypted", "CoreStorage Encrypted"}) {
            EXPECT_EQ(disk.media->at(name), expected) << name;
        }
    }
}

TEST(MachineDescription, APreferenceIsAnyValueButNull) {
    for (const char* value : {"true", "1", "1.5", "\"text\"", "[]", "{}"}) {
        const auto machine =
            machineFrom(R"({"preferences": {"user": {"a": {"b": )" + std::string(value) + "}}}}");
        EXPECT_EQ(machine->preferences().copyValue("b", "a", currentUser),
                  Found(VELValue::parse(value)));
    }
    EXPECT_EQ(errorOf(R"({"preferences": {"user": {"a": {"b": null}}}})"),
              R"(preferences.user["a"]["b"] is null)");
}

TEST(MachineDescription, ToolsAreRunsInOrder) {
    const auto machine = machineFrom(R"({"tools": [
        {"command": ["/bin/ps", "-axc"], "output": "1 launchd\n"},
        {"command": ["/a"], "outputBase64": "/wA=", "status": 3, "seconds": 2.5,
         "statusOnTermination": 7, "ignoresTermination": true},
        {"command": ["/b"], "signal": 9},
        {"command": ["/c"], "launchFailure": "no"},
        {"command": ["/d"], "seconds": 18446744073709551615}]})");
    ASSERT_EQ(machine->tools.size(), 5U);
    EXPECT_EQ(machine->tools[0].command, (std::vector<std::string>{"/bin/ps", "-axc"}));
    EXPECT_EQ(machine->tools[0].output, "1 launchd\n");
    EXPECT_EQ(machine->tools[0].status, 0);
    EXPECT_EQ(machine->tools[0].signal, std::nullopt);
    EXPECT_EQ(machine->tools[0].launchFailure, std::nullopt);
    EXPECT_EQ(machine->tools[0].seconds, 0.0);
    EXPECT_EQ(machine->tools[0].statusOnTermination, std::nullopt);
    EXPECT_FALSE(machine->tools[0].ignoresTermination);
    EXPECT_EQ(machine->tools[1].output, std::string("\xff\0", 2));
    EXPECT_EQ(machine->tools[1].status, 3);
    EXPECT_EQ(machine->tools[1].seconds, 2.5);
    EXPECT_EQ(machine->tools[1].statusOnTermination, 7);
    EXPECT_TRUE(machine->tools[1].ignoresTermination);
    EXPECT_EQ(machine->tools[2].signal, 9);
    EXPECT_EQ(machine->tools[3].launchFailure, "no");
    EXPECT_EQ(machine->tools[4].seconds, 0x1p64);
}

TEST(MachineDescription, AWrongToolIsNamedWithItsPlace) {
    const WrongDescription wrong[] = {
        {R"({"tools": {}})", "tools is not a list"},
        {R"({"tools": [null]})", "tools[0] is not an object"},
        {R"({"tools": [{"command": ["/a"]}, {}]})", "tools[1] has no command"},
        {R"({"tools": [{"command": []}]})", "tools[0].command is empty"},
        {R"({"tools": [{"command": "/a"}]})", "tools[0].command is not a list"},
        {R"({"tools": [{"command": ["/a", 1]}]})", "tools[0].command[1] is not a string"},
        {R"({"tools": [{"command": ["/a"], "stdout": ""}]})",
         R"(unknown key "stdout" in tools[0])"},
        {R"({"tools": [{"command": ["/a"], "output": 1}]})", "tools[0].output is not a string"},
        {R"({"tools": [{"command": ["/a"], "outputBase64": "?"}]})",
         "tools[0].outputBase64 is not base64"},
        {R"({"tools": [{"command": ["/a"], "output": "", "outputBase64": ""}]})",
         "tools[0] has both output and outputBase64"},
        {R"({"tools": [{"command": ["/a"], "status": 1.0}]})", "tools[0].status is not an integer"},
        {R"({"tools": [{"command": ["/a"], "status": 2147483648}]})",
         "tools[0].status is not an integer of 32 bits"},
        {R"({"tools": [{"command": ["/a"], "status": -2147483649}]})",
         "tools[0].status is not an integer of 32 bits"},
        {R"({"tools": [{"command": ["/a"], "status": 18446744073709551615}]})",
         "tools[0].status is not an integer of 32 bits"},
        {R"({"tools": [{"command": ["/a"], "signal": null}]})",
         "tools[0].signal is not an integer"},
        {R"({"tools": [{"command": ["/a"], "after": []}]})", "tools[0].after is empty"},
        {R"({"tools": [{"command": ["/a"], "pipeCapacity": -1}]})",
         "tools[0].pipeCapacity is negative"},
        {R"({"tools": [{"command": ["/a"], "outputUnreadable": 1}]})",
         "tools[0].outputUnreadable is not a boolean"},
        {R"({"tools": [{"command": ["/a"], "secondsOutputIsHeld": -1}]})",
         "tools[0].secondsOutputIsHeld is negative"},
        {R"({"tools": [{"command": ["/a"], "seconds": "1"}]})", "tools[0].seconds is not a number"},
        {R"({"tools": [{"command": ["/a"], "seconds": -0.5}]})", "tools[0].seconds is negative"},
        {R"({"tools": [{"command": ["/a"], "statusOnTermination": true}]})",
         "tools[0].statusOnTermination is not an integer"},
        {R"({"tools": [{"command": ["/a"], "ignoresTermination": 1}]})",
         "tools[0].ignoresTermination is not a boolean"},
    };
    for (const auto& [text, error] : wrong) {
        EXPECT_EQ(errorOf(text), error) << text;
    }
}

TEST(MachineDescription, ATextMayBeBytes) {
    const auto machine = machineFrom(R"({
        "tools": [{"command": ["/a"], "launchPath": {"base64": "L/8="},
                   "launchFailure": {"base64": "/w=="}}],
        "mounts": [{"type": {"base64": "YQ=="}, "path": {"base64": "L/8="}}]})");
    EXPECT_EQ(machine->tools[0].launchPath, "/\xFF");
    EXPECT_EQ(machine->tools[0].launchFailure, "\xFF");
    EXPECT_EQ(machine->disks.mounts->front().fileSystemType, "a");
    EXPECT_EQ(machine->disks.mounts->front().mountPoint, "/\xFF");

    const std::pair<std::string, std::string> places[] = {
        {R"({"tools": [{"command": ["/a"], "launchPath": )", "tools[0].launchPath"},
        {R"({"tools": [{"command": ["/a"], "launchFailure": )", "tools[0].launchFailure"},
        {R"({"mounts": [{"type": )", "mounts[0].type"},
        {R"({"mounts": [{"path": )", "mounts[0].path"}};
    for (const auto& [start, place] : places) {
        for (const char* value : {"null", "true", "1", "[]"}) {
            EXPECT_EQ(errorOf(start + value + "}]}"), place + " is neither a string nor an object");
        }
        EXPECT_EQ(errorOf(start + "{}}]}"), place + " has no base64");
        EXPECT_EQ(errorOf(start + R"({"base64": "A"}}]})"), place + ".base64 is not base64");
        EXPECT_EQ(errorOf(start + R"({"base64": "", "text": ""}}]})"),
                  R"(unknown key "text" in )" + place);
    }
}

TEST(MachineDescription, ARunSaysHowItsOutputIsRead) {
    const auto machine = machineFrom(R"({"tools": [
        {"command": ["/a"]},
        {"command": ["/a"], "after": ["/b", "c"], "pipeCapacity": 0, "outputUnreadable": true,
         "secondsOutputIsHeld": 0.5}]})");
    EXPECT_EQ(machine->tools[0].launchPath, std::nullopt);
    EXPECT_EQ(machine->tools[0].after, std::vector<std::string>());
    EXPECT_EQ(machine->tools[0].pipeCapacity, 65'536U);
    EXPECT_FALSE(machine->tools[0].outputReadFails);
    EXPECT_EQ(machine->tools[0].secondsOutputIsHeld, 0.0);
    EXPECT_EQ(machine->tools[1].after, (std::vector<std::string>{"/b", "c"}));
    EXPECT_EQ(machine->tools[1].pipeCapacity, 0U);
    EXPECT_TRUE(machine->tools[1].outputReadFails);
    EXPECT_EQ(machine->tools[1].secondsOutputIsHeld, 0.5);
}

TEST(MachineDescription, AnIntegerAnswerCountsWhateverTheStoresHold) {
    const auto machine = machineFrom(R"({"preferences": {
        "user": {"a": {"none": 1, "other": 2, "one": "text"}},
        "integers": {"a": {"none": null, "one": 9223372036854775807}}}})");
    const auto integer = [&](std::string_view key) {
        const auto answer = machine->preferences().appIntegerValue(key, "a");
        return answer.found ? std::optional(answer.value) : std::nullopt;
    };
    EXPECT_EQ(integer("none"), std::nullopt);
    EXPECT_EQ(integer("other"), 2);
    EXPECT_EQ(integer("one"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(machine->preferences().copyValue("one", "a", currentUser), Found("text"));
    for (const char* value : {"9223372036854775808", "1.0", "true", "\"1\"", "[]", "{}"}) {
        EXPECT_EQ(
            errorOf(R"({"preferences": {"integers": {"a": {"b": )" + std::string(value) + "}}}}"),
            R"(preferences.integers["a"]["b"] is neither an integer of 64 bits nor null)");
    }
}

TEST(MachineDescription, AnswersOfTheKeychainAreKnown) {
    const auto machine = machineFrom(R"({"keychain": {
        "identityQueries": [
            {"issuer": "MAA=", "identities": [{"certificate": "AAA=", "trustStatus": -1}]},
            {"issuer": "MAE=", "status": -25291}],
        "trust": [{"certificate": "AQ==", "trustStatus": -2},
                  {"certificate": "AQ==", "anchor": "Ag==", "anchorsStatus": -3},
                  {"certificate": "AQ==", "anchor": "Aw==", "trusted": true},
                  {"certificate": "AQ==", "anchor": "BA==", "error": {
                      "domain": "NSOSStatusErrorDomain", "code": -67843, "userInfo": {"a": "b"}}}]}
        })");
    const auto& queries = machine->keychainStore.identityQueries;
    ASSERT_EQ(queries.size(), 2U);
    EXPECT_EQ(queries[0].issuer, std::string("0\0", 2));
    EXPECT_EQ(queries[0].status, std::nullopt);
    ASSERT_EQ(queries[0].identities.size(), 1U);
    EXPECT_EQ(queries[0].identities[0].trustStatus, VELSecurityStatus{-1});
    EXPECT_EQ(queries[1].status, VELSecurityStatus::notAvailable);
    const auto& trust = machine->keychainStore.trustAnswers;
    ASSERT_EQ(trust.size(), 4U);
    EXPECT_EQ(trust[0].certificate, "\1");
    EXPECT_EQ(trust[0].trustStatus, VELSecurityStatus{-2});
    EXPECT_EQ(trust[0].anchor, std::nullopt);
    EXPECT_EQ(trust[1].anchor, "\2");
    EXPECT_EQ(trust[1].anchorsStatus, VELSecurityStatus{-3});
    EXPECT_FALSE(trust[1].isTrusted);
    EXPECT_TRUE(trust[2].isTrusted);
    EXPECT_FALSE(trust[3].isTrusted);
    EXPECT_EQ(trust[3].error->description(),
              R"(Error Domain=NSOSStatusErrorDomain Code=-67843 UserInfo={"a":"b"})");
}

TEST(MachineDescription, AWrongAnswerOfTheKeychainIsNamedWithItsPlace) {
    const WrongDescription wrong[] = {
        {R"({"keychain": {"identityQueries": {}}})", "keychain.identityQueries is not a list"},
        {R"({"keychain": {"identityQueries": [{}]}})", "keychain.identityQueries[0] has no issuer"},
        {R"({"keychain": {"identityQueries": [{"issuer": "MAA=", "identities": [{}]}]}})",
         "keychain.identityQueries[0].identities[0] has no certificate"},
        {R"({"keychain": {"trust": [{"anchor": "AAA="}]}})",
         "keychain.trust[0] has no certificate"},
        {R"({"keychain": {"trust": [{"certificate": "", "trusted": 1}]}})",
         "keychain.trust[0].trusted is not a boolean"},
        {R"({"keychain": {"trust": [{"certificate": "", "trusted": true, "error": {}}]}})",
         "keychain.trust[0] is trusted and has an error"},
        {R"({"keychain": {"trust": [{"certificate": "", "error": {"code": 1.0}}]}})",
         "keychain.trust[0].error.code is not an integer of 64 bits"},
        {R"({"keychain": {"trust": [{"certificate": "", "error": {"userInfo": []}}]}})",
         "keychain.trust[0].error.userInfo is not an object"},
        {R"({"keychain": {"trust": [{"certificate": "", "error": {"text": ""}}]}})",
         R"(unknown key "text" in keychain.trust[0].error)"},
    };
    for (const auto& [text, error] : wrong) {
        EXPECT_EQ(errorOf(text), error) << text;
    }
}

TEST(MachineDescription, TextThatIsNoJSONHasTheReadersError) {
    for (const std::string_view text :
         {std::string_view(), std::string_view("{"), std::string_view("{} {}"),
          std::string_view("{\"name\": \"\xff\"}"), std::string_view("\0", 1)}) {
        std::optional<VELError> readingError;
        ASSERT_EQ(vel::readJSON(text, &readingError), std::nullopt);
        EXPECT_EQ(errorOf(text), readingError->message());
    }
    EXPECT_EQ(errorOf("[1,"),
              "parse error at line 1, column 4: syntax error while parsing value - unexpected end "
              "of input; expected '[', '{', or a literal");
}

} // namespace
