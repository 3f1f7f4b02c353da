// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/GeneratedMachines.h"

#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/FileContent.h"

#include <map>
#include <utility>

namespace {

using Command = std::vector<std::string>;

const char* const statusFile = "/Library/Application Support/Checkpoint/FDE/fdeencstatus.plist";

/// A list of JSON to choose from, read once.
const VELValue& parsed(const char* text) {
    static std::map<std::string, VELValue> known;
    const auto [position, isNew] = known.try_emplace(text);
    if (isNew) {
        position->second = VELValue::parse(text);
    }
    return position->second;
}

/// What the members `name` of the keychains of the described Macs hold, and of their requests.
const VELValue& exampleCertificates() {
    static const VELValue certificates = [] {
        VELValue found = VELValue::array();
        for (const std::string& file : examples::filesIn("Machines")) {
            const VELValue mac =
                VELValue::parse(contentOf(VEL_SOURCE_DIRECTORY "/Examples/Machines/" + file));
            const VELValue keychain = mac.value("keychain", VELValue::object());
            for (const VELValue& certificate : keychain.value("certificates", VELValue::array())) {
                found.push_back(certificate);
            }
            for (const VELValue& identity : keychain.value("identities", VELValue::array())) {
                found.push_back(identity.at("certificate"));
            }
        }
        return found;
    }();
    return certificates;
}

/// The parameter `name` of the example with all checks.
VELValue exampleParameter(const std::string& name) {
    const VELValue request = VELValue::parse(examples::request("all-checks.json"));
    for (const VELValue& entry : request.at("mac")) {
        if (entry.contains(name)) {
            return entry.at(name);
        }
    }
    return {};
}

VELValue withChance(bool isPresent, const char* key, VELValue value) {
    VELValue object = VELValue::object();
    if (isPresent) {
        object[key] = std::move(value);
    }
    return object;
}

VELValue propertyList(const std::string& key, const std::string& value) {
    return "<plist><dict><key>" + key + "</key>" + value + "</dict></plist>";
}

VELValue domainPropertyList(const std::string& domain) {
    return propertyList("General Info", "<dict><key>Active Directory Domain</key><string>" +
                                            domain +
                                            "</string><key>Computer Account</key><string>anna$"
                                            "</string></dict>");
}

} // namespace

VELValue GeneratedMachines::preferences() {
    const VELValue values = parsed(R"(["machine-7", "1", 1, 0, -3, 2.5, true, [], {"a": 1}])");
    VELValue preferences = VELValue::object();
    for (const char* scope : {"machine", "user"}) {
        preferences[scope] = VELValue::object();
        preferences[scope].update(
            withChance(chance(1, 2), "com.vel.deviceId", {{"deviceId", oneOf(values)}}));
        preferences[scope].update(
            withChance(chance(1, 3), "com.apple.alf", {{"globalstate", oneOf(values)}}));
    }
    if (chance(1, 4)) {
        const VELValue integers = parsed("[null, 0, 1, 9223372036854775807]");
        preferences["integers"] = {{"com.apple.alf", {{"globalstate", oneOf(integers)}}}};
    }
    return preferences;
}

VELValue GeneratedMachines::run(const Command& command, const VELValue& outputs) {
    VELValue run = {{"command", command}};
    if (chance(1, 12)) {
        run["launchFailure"] = oneOf(parsed(R"(["no", {"base64": "/w=="}])"));
    }
    if (chance(1, 6)) {
        run["launchPath"] = oneOf(parsed(R"(["/usr/libexec/tool", {"base64": "L/8="}])"));
    }
    bool mayBlock = chance(1, 1000);
    if (mayBlock) {
        run["output"] = std::string(70'000, 'x');
        run.update(withChance(chance(1, 2), "pipeCapacity", 1'048'576));
    } else if (chance(1, 10)) {
        run["outputBase64"] = "/wA=";
    } else {
        run["output"] = oneOf(outputs);
    }
    if (chance(1, 20)) {
        mayBlock = true;
        run["pipeCapacity"] = 4;
    }
    if (chance(1, 8)) {
        run[chance(1, 2) ? "status" : "signal"] = oneOf(parsed("[0, 1, 9, -1]"));
    }
    if (chance(1, 4)) {
        run["seconds"] = oneOf(parsed("[0, 0.1, 3.3333333, 9.999999999, 10, 10.000000001, 30]"));
    }
    run.update(withChance(chance(1, 8), "statusOnTermination", oneOf(parsed("[0, 3]"))));
    run.update(withChance(!mayBlock && chance(1, 8), "ignoresTermination", chance(1, 2)));
    run.update(withChance(chance(1, 20), "outputUnreadable", chance(1, 2)));
    run.update(withChance(chance(1, 20), "secondsOutputIsHeld", oneOf(parsed("[0.25, 9.5, 20]"))));
    return run;
}

VELValue GeneratedMachines::tools() {
    const Command openssl = {"/usr/bin/openssl", "x509",     "-inform", "DER", "-in",
                             "codesign0",        "-subject", "-noout"};
    const VELValue subjects =
        parsed(R"(["subject= /O=A/OU=TEAM42/CN=a\n", "subject= /OU=OTHER7/\n", "subject=\n"])");
    VELValue tools = VELValue::array();
    const auto add = [&](const Command& command, const VELValue& outputs) {
        for (unsigned count = number(3); count > 0; --count) {
            tools.push_back(run(command, outputs));
        }
    };
    add({"/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"},
        parsed(R"json(["(State = 1)\n", "(State = 0)", "State = x", ""])json"));
    add({"/usr/sbin/dsconfigad", "-show", "-xml"},
        VELValue::array({domainPropertyList("corp.sample.test"), domainPropertyList("a &amp; b"),
                         propertyList("General Info", "<dict/>"), "<plist>", "", "none"}));
    add({"/bin/ps", "-axc"},
        parsed(R"(["  PID TTY  TIME CMD\n  1 ?? 0:01.00 launchd\n 412 ?? 0:00.10 SampleAgent\n",
                   "77 SampleAgent\n78 sampleagent\n412 Finder\n", "PID\n", ""])"));
    for (const char* processID : {"77", "78", "412"}) {
        const Command codesign = {"/usr/bin/codesign", "--display", "--extract-certificates",
                                  processID};
        add(codesign, parsed(R"(["", "Executable=/Users/anna/agent\n"])"));
        if (chance(1, 3)) {
            tools.push_back(run(openssl, subjects));
            tools.back()["after"] = codesign;
        }
    }
    add(openssl, subjects);
    return tools;
}

VELValue GeneratedMachines::file() {
    const VELValue contents = VELValue::array(
        {VELValue::object({{"unreadable", true}}), VELValue::object({{"base64", "YnBsaXN0"}}),
         propertyList("encryptionState", "<string>1,1</string>"),
         propertyList("encryptionState", "<string>1,0,1</string>"),
         propertyList("encryptionState", "<integer>1</integer>"), "<plist>"});
    return oneOf(contents);
}

VELValue GeneratedMachines::mount() {
    VELValue mount = {{"type", oneOf(parsed(R"(["apfs", "devfs", {"base64": "/w=="}])"))},
                      {"path", oneOf(parsed(R"(["/", "/System/Volumes/Data", "/Volumes/Anna",
                                  {"base64": "L/8="}])"))}};
    mount.update(withChance(chance(1, 3), "device",
                            oneOf(parsed(R"(["disk3s5", "mapper/a", {"base64": "/w=="}])"))));
    if (chance(3, 4)) {
        VELValue disk = VELValue::object();
        if (chance(7, 8)) {
            disk["description"] = withChance(chance(7, 8), "internal",
                                             oneOf(parsed(R"([true, true, false, 1, "yes"])")));
            disk["description"].update(
                withChance(chance(1, 4), "protocol", oneOf(parsed(R"(["PCI", "USB", 7])"))));
            disk["description"].update(
                withChance(chance(1, 4), "kind", oneOf(parsed(R"(["apfs", "ntfs", null])"))));
        }
        if (chance(7, 8)) {
            disk["media"] =
                withChance(chance(1, 2), "Sealed", oneOf(parsed(R"(["No", "no", "Yes", true])")));
            disk["media"].update(withChance(
                chance(3, 4), "Role", oneOf(parsed(R"([["Data"], [], ["VM", "Data"], "Data"])"))));
            disk["media"].update(withChance(chance(3, 4), "Encrypted",
                                            oneOf(parsed(R"([true, true, false, 1, null])"))));
            disk["media"].update(withChance(chance(1, 4), "CoreStorage Encrypted", chance(1, 2)));
        }
        mount["disk"] = std::move(disk);
    }
    return mount;
}

VELValue GeneratedMachines::keychain() {
    VELValue keychain = VELValue::object();
    const VELValue statuses = parsed("[0, -25291, -25300]");
    for (unsigned count = number(4); count > 0; --count) {
        keychain["certificates"].push_back(chance(1, 6) ? VELValue("AAAA")
                                                        : oneOf(exampleCertificates()));
    }
    std::map<VELValue, VELValue> identities; // by certificate, whose trust has one answer
    for (unsigned count = number(4); count > 0; --count) {
        const VELValue& certificate = oneOf(exampleCertificates());
        VELValue& identity = identities[certificate];
        identity = {{"certificate", certificate}};
        for (const char* status : {"certificateStatus", "trustStatus", "anchorsStatus"}) {
            identity.update(withChance(chance(1, 12), status, oneOf(statuses)));
        }
    }
    for (const auto& [certificate, identity] : identities) {
        keychain["identities"].push_back(identity);
    }
    keychain.update(withChance(chance(1, 10), "certificatesStatus", oneOf(statuses)));
    keychain.update(withChance(chance(1, 10), "identitiesStatus", oneOf(statuses)));
    return keychain;
}

VELValue GeneratedMachines::machine() {
    VELValue machine = {{"date", "2026-01-15T12:00:00Z"},
                        {"preferences", preferences()},
                        {"tools", tools()},
                        {"keychain", keychain()}};
    machine.update(
        withChance(chance(3, 4), "productVersion", oneOf(parsed(R"(["14.5", "12.0.1", "x"])"))));
    machine.update(withChance(chance(3, 4), "serialNumber", "C02EXAMPLE"));
    machine.update(withChance(chance(1, 2), "files", {{statusFile, file()}}));
    machine.update(withChance(chance(1, 20), "diskSession", chance(1, 2)));
    if (chance(1, 20)) {
        machine["mounts"] = nullptr;
    } else {
        machine["mounts"] = VELValue::array();
        for (unsigned count = number(5); count > 0; --count) {
            machine["mounts"].push_back(mount());
        }
    }
    return machine;
}

VELValue GeneratedMachines::entry() {
    static const VELValue rootCertificate = exampleParameter("cert");
    static const VELValue fingerprint = exampleParameter("sha1");
    switch (number(12)) {
    case 0:
    case 1:
        return {{"type", "localFirewall"}};
    case 2:
    case 3:
        return {{"type", "fullDiskEncryption"}};
    case 4:
        return {{"type", "minimumOSVersion"}, {"version", oneOf(parsed(R"(["14.0", "15", 7])"))}};
    case 5:
    case 6:
        return {{"type", "joinedToDomain"},
                {"names", oneOf(parsed(R"([["*.sample.test"], ["a & b"], ["a b"], [], [7]])"))}};
    case 7:
        return {{"type", "certificatePresent"},
                {"sha1", chance(1, 4) ? VELValue("00 11") : fingerprint}};
    case 8:
        return {{"type", "perDeviceCertificatePresent"},
                {"cert", chance(1, 6) ? oneOf(exampleCertificates()) : rootCertificate}};
    case 9:
        return {{"type", oneOf(parsed(R"(["none", "anyProcessRunning"])"))}};
    default:
        break;
    }
    const VELValue processes = VELValue::parse(
        R"([{"name": "Finder"}, {"name": "SampleAgent", "signingCertificateSubjectOU": "TEAM42"},
            {"name": "Agent", "signingCertificateSubjectOU": "OTHER7"}, {"name": "launchd"}, {},
            {"name": "finder", "signingCertificateSubjectOU": 7}, {"name": "x\ny"}])");
    VELValue wanted = VELValue::array();
    for (unsigned count = 1 + number(3); count > 0; --count) {
        wanted.push_back(oneOf(processes));
    }
    return {{"type", "anyProcessRunning"}, {"processes", std::move(wanted)}};
}

VELValue GeneratedMachines::request() {
    if (chance(1, 12)) {
        return {{"identity_params",
                 oneOf(parsed(R"([["device_id"], ["DEVICE_SERIAL_NUMBER", "device_id"], []])"))}};
    }
    VELValue entries = VELValue::array();
    for (unsigned count = 1 + number(4); count > 0; --count) {
        entries.push_back(entry());
    }
    return {{"mac", std::move(entries)}};
}
