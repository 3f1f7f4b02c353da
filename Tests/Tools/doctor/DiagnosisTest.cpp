// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/doctor/Diagnosis.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace {

std::vector<std::string> troublesOf(const std::vector<Diagnosis>& diagnoses) {
    std::vector<std::string> troubles;
    for (const Diagnosis& each : diagnoses) {
        if (!each.canBeAsked) {
            troubles.push_back(each.source + ": " + each.code);
        }
    }
    return troubles;
}

std::shared_ptr<VELSimulatedPlatform> workingMac() {
    const auto mac = std::make_shared<VELSimulatedPlatform>();
    const auto add = [&mac](std::vector<std::string> command, std::string output) {
        VELSimulatedRun run;
        run.command = std::move(command);
        run.output = std::move(output);
        mac->tools.push_back(std::move(run));
    };
    add({"/usr/libexec/ApplicationFirewall/socketfilterfw", "--getglobalstate"},
        "Firewall is disabled. (State = 0)\n");
    add({"/bin/ps", "-axc"}, "  1 ?? 0:00.01 launchd\n");
    add({"/usr/sbin/dsconfigad", "-show", "-xml"}, "");
    mac->productVersionRecord = "14.5";
    mac->hardwareSerialNumber = "C02EXAMPLE01";
    return mac;
}

TEST(Doctor, AnswersOfWhateverKindMeanThatASourceCanBeAsked) {
    const auto diagnoses = diagnosesOf(workingMac());
    EXPECT_EQ(troublesOf(diagnoses), std::vector<std::string>());
    std::vector<std::string> sources;
    for (const Diagnosis& each : diagnoses) {
        sources.push_back(each.source);
        EXPECT_FALSE(each.text.empty()) << each.source;
        EXPECT_EQ(each.remedy, "") << each.source;
    }
    EXPECT_EQ(diagnoses[0].text, "the firewall is off (state 0)");
    EXPECT_EQ(diagnoses[4].text, "the running processes are listed");
    EXPECT_EQ(diagnoses[5].text, "whether the machine is bound to a domain is known");
    EXPECT_EQ(sources, (std::vector<std::string>{"firewall", "disks", "keychains", "system version",
                                                 "processes", "domain", "serial number"}));
}

TEST(Doctor, NamesWhatCannotBeAskedAndHowToMendIt) {
    const auto mac = std::make_shared<VELSimulatedPlatform>();
    mac->disks.mounts.reset();
    mac->keychainStore.certificatesStatus = VELSecurityStatus::internalComponent;
    const auto diagnoses = diagnosesOf(mac);
    EXPECT_EQ(troublesOf(diagnoses),
              (std::vector<std::string>{
                  "firewall: firewall-tool-not-launched", "disks: mount-table-unreadable",
                  "keychains: keychain-not-readable", "system version: version-unknown",
                  "processes: listing-tool-not-launched", "domain: domain-tool-not-launched",
                  "serial number: serial-number-unknown"}));
    EXPECT_EQ(diagnoses.front().remedy, "install the helper programs of this package");
    EXPECT_EQ(diagnoses.back().remedy, "run as root");
}

TEST(Doctor, AHelperThatFailsCannotBeAsked) {
    const auto mac = workingMac();
    VELSimulatedRun& listing = mac->tools.at(1);
    listing.launchPath = "/libexec/process-listing";
    listing.status = 1;
    VELSimulatedRun why = listing;
    why.command.emplace_back("--why");
    why.output = "process-listing-failed: std::bad_alloc\n";
    why.status = 0;
    mac->tools.push_back(why);
    const auto diagnoses = diagnosesOf(mac);
    EXPECT_EQ(troublesOf(diagnoses), std::vector<std::string>{"processes: process-listing-failed"});
    EXPECT_EQ(diagnoses[4].text, "std::bad_alloc");
}

TEST(Doctor, ReportsALinePerSource) {
    const std::vector<Diagnosis> diagnoses = {
        {"firewall", false, "firewall-needs-root", "firewall-state needs root", "run as root"},
        {"disks", true, "volumes-encrypted", "encrypted: 1 volume in scope", ""}};
    EXPECT_EQ(diagnosisReport(diagnoses, {}),
              "firewall  CANNOT BE ASKED: firewall-state needs root; to fix it: run as root\n"
              "disks     can be asked: encrypted: 1 volume in scope\n"
              "\n"
              "1 source cannot be asked\n");
    EXPECT_EQ(VELValue::parse(diagnosisJSON(diagnoses)),
              VELValue({{"sources",
                         {{{"source", "firewall"},
                           {"canBeAsked", false},
                           {"code", "firewall-needs-root"},
                           {"text", "firewall-state needs root"},
                           {"remedy", "run as root"}},
                          {{"source", "disks"},
                           {"canBeAsked", true},
                           {"code", "volumes-encrypted"},
                           {"text", "encrypted: 1 volume in scope"},
                           {"remedy", ""}}}}}));
    EXPECT_EQ(diagnosisReport({diagnoses[1]}, {}),
              "disks  can be asked: encrypted: 1 volume in scope\n"
              "\n"
              "every source can be asked\n");
}

} // namespace
