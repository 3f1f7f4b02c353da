// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/FaultyPlatform.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace {

/// What a request yields: for each entry its type and whether it passed.
struct Verdict {
    bool passed = false;
    std::vector<std::pair<std::string, bool>> entries;
};

/// Every question of the seam is made to fail once, in each way in which it can, for every request
/// and every described Mac: nothing that does not pass may pass then.
class FaultSweep : public testing::Test {
protected:
    ~FaultSweep() override { VELDTLogger::setLogger(nullptr); }

    static std::map<std::string, std::string> examples(const char* folder) {
        std::map<std::string, std::string> documents;
        for (const auto& file : std::filesystem::directory_iterator(
                 std::string(VEL_SOURCE_DIRECTORY "/Examples/") + folder)) {
            std::ostringstream text;
            text << std::ifstream(file.path()).rdbuf();
            documents[file.path().stem().string()] = text.str();
        }
        return documents;
    }

    /// The described Macs of Examples/, and such as have something to fall back on.
    static std::map<std::string, std::string> machines() {
        auto machines = examples("Machines");
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

    /// Runs a request on a described Mac and holds that nothing is left behind.
    static Verdict run(const std::string& machine, const std::string& request,
                       const std::shared_ptr<FaultyPlatform::Plan>& plan) {
        std::string error;
        const auto mac = vel::machineFromDescription(machine, &error);
        EXPECT_NE(mac, nullptr) << error;
        Verdict verdict;
        {
            const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(
                std::make_shared<RecordingLogger>(), std::make_shared<FaultyPlatform>(mac, plan));
            const VELValue result =
                VELValue::parse(runner->runPostureCheckFromDocumentString(request));
            verdict.passed = result.value("pass", false);
            for (const VELValue& check : result.value("checks", VELValue::array())) {
                verdict.entries.emplace_back(check.at("type"), check.value("pass", false));
            }
        }
        EXPECT_EQ(mac->disks.counts.handedOut, 0);
        EXPECT_EQ(mac->keychainStore.counts.handedOut, 0);
        EXPECT_EQ(mac->certificateStore.counts.handedOut, 0);
        return verdict;
    }

    static std::vector<Fault> faultsOf(const std::string& question) {
        std::vector<Fault> faults = {Fault::throws, Fault::fails};
        if (question == "mountTable" || question == "readOutputToEnd") {
            faults.push_back(Fault::empty);
        }
        return faults;
    }

    static const char* nameOf(Fault fault) {
        return fault == Fault::throws ? " throws" : fault == Fault::fails ? " fails" : " is empty";
    }
};

TEST_F(FaultSweep, NoFaultTurnsANoIntoAYesButThoseThatTheSystemNames) {
    std::set<std::string> turned;
    std::size_t combinations = 0;
    for (const auto& [requestName, request] : examples("Requests")) {
        const bool isIdentity = VELValue::parse(request).contains("identity_params");
        for (const auto& [machineName, machine] : machines()) {
            const auto healthy = std::make_shared<FaultyPlatform::Plan>();
            const Verdict expected = run(machine, request, healthy);
            for (std::size_t position = 0; position < healthy->questions.size(); ++position) {
                const std::string& question = healthy->questions[position];
                for (const Fault fault : faultsOf(question)) {
                    SCOPED_TRACE(requestName + " on " + machineName + ": " + question +
                                 nameOf(fault) + " at " + std::to_string(position));
                    ++combinations;
                    const auto plan = std::make_shared<FaultyPlatform::Plan>();
                    plan->position = position;
                    plan->fault = fault;
                    if (isIdentity && fault == Fault::throws) {
                        // The one exception that a document operation may throw.
                        EXPECT_THROW(run(machine, request, plan), std::bad_alloc);
                        continue;
                    }
                    const Verdict verdict = run(machine, request, plan);
                    ASSERT_EQ(verdict.entries.size(), expected.entries.size());
                    bool all = true;
                    for (std::size_t index = 0; index < verdict.entries.size(); ++index) {
                        const auto& [type, passed] = verdict.entries[index];
                        all = all && passed;
                        if (passed && !expected.entries[index].second) {
                            turned.insert(type + ": " + question + nameOf(fault));
                        }
                    }
                    EXPECT_EQ(verdict.passed, all && !isIdentity);
                }
            }
        }
    }
    RecordProperty("combinations", static_cast<int>(combinations));
    EXPECT_GT(combinations, 1000U);
    // A volume without disk object, description, media object or property is not looked at, an
    // empty mount table has no volume to fail, and a tool without output is no answer, after which
    // the stored state counts.
    EXPECT_EQ(turned, std::set<std::string>({
                          "fullDiskEncryption: copyDescription fails",
                          "fullDiskEncryption: copyMedia fails",
                          "fullDiskEncryption: diskAtMountPoint fails",
                          "fullDiskEncryption: mountTable is empty",
                          "fullDiskEncryption: property Role fails",
                          "localFirewall: readOutputToEnd fails",
                          "localFirewall: readOutputToEnd is empty",
                      }));
}

} // namespace
