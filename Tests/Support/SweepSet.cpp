// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/SweepSet.h"

#include "Tests/Support/FileContent.h"
#include "vel_device_trust/VELValue.h"

#include <nlohmann/json.hpp>

#include <filesystem>

std::map<std::string, std::string> exampleDocuments(const std::string& folder) {
    std::map<std::string, std::string> documents;
    for (const auto& file :
         std::filesystem::directory_iterator(VEL_SOURCE_DIRECTORY "/Examples/" + folder)) {
        documents[file.path().stem().string()] = contentOf(file.path());
    }
    return documents;
}

std::map<std::string, std::string> sweptMachines() {
    auto machines = exampleDocuments("Machines");
    VELValue mac = VELValue::parse(machines.at("firewall-off"));
    mac["preferences"]["machine"]["com.apple.alf"]["globalstate"] = 1;
    machines["firewall-off-stored-on"] = mac.dump();
    mac = VELValue::parse(machines.at("unencrypted"));
    for (VELValue& mount : mac["mounts"]) {
        mount["disk"]["media"]["Sealed"] = "No";
        mount["disk"]["media"]["Role"] = VELValue::array({"Data"});
    }
    machines["all-in-scope-unencrypted"] = mac.dump();
    mac["mounts"].erase(0);
    machines["one-in-scope-unencrypted"] = mac.dump();
    return machines;
}

Verdict::Verdict(std::string_view result) {
    const VELValue document = VELValue::parse(result);
    passed = document.value("pass", false);
    for (const VELValue& check : document.value("checks", VELValue::array())) {
        entries.emplace_back(check.at("type"), check.value("pass", false));
    }
}

std::vector<std::string> Verdict::turnedAgainst(const Verdict& expected) const {
    std::vector<std::string> turned;
    bool all = !entries.empty() && entries.size() == expected.entries.size();
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const auto& [type, entryPassed] = entries[index];
        all = all && entryPassed;
        if (index >= expected.entries.size() || (entryPassed && !expected.entries[index].second)) {
            turned.push_back(type);
        }
    }
    if (passed != all) {
        turned.emplace_back("the verdict");
    }
    return turned;
}
