// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/EngineTest.h"
#include "Tests/Support/FaultyPlatform.h"
#include "Tests/Support/Sanitized.h"
#include "Tests/Support/SweepSet.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <set>

namespace {

/// Every question of the seam is made to fail once, in each way in which it can, for every request
/// and every described Mac: nothing that does not pass may pass then.
class FaultSweep : public testing::Test {
protected:
    ~FaultSweep() override { VELDTLogger::setLogger(nullptr); }

    /// Runs a request on a described Mac and holds that nothing is left behind.
    static Verdict run(const std::string& machine, const std::string& request,
                       const std::shared_ptr<FaultyPlatform::Plan>& plan) {
        std::string error;
        const auto mac = vel::machineFromDescription(machine, &error);
        EXPECT_NE(mac, nullptr) << error;
        std::string result;
        {
            const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(
                std::make_shared<RecordingLogger>(), std::make_shared<FaultyPlatform>(mac, plan));
            result = runner->runPostureCheckFromDocumentString(request);
        }
        EXPECT_EQ(mac->disks.counts.handedOut, 0);
        EXPECT_EQ(mac->keychainStore.counts.handedOut, 0);
        EXPECT_EQ(mac->certificateStore.counts.handedOut, 0);
        return Verdict(result);
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
    std::map<std::string, unsigned> combinationsOf; // by question and fault
    std::size_t combinations = 0;
    for (const auto& [requestName, request] : exampleDocuments("Requests")) {
        const bool isIdentity = VELValue::parse(request).contains("identity_params");
        for (const auto& [machineName, machine] : sweptMachines()) {
            const auto healthy = std::make_shared<FaultyPlatform::Plan>();
            const Verdict expected = run(machine, request, healthy);
            for (std::size_t position = 0; position < healthy->questions.size(); ++position) {
                const std::string& question = healthy->questions[position];
                for (const Fault fault : faultsOf(question)) {
                    const std::string kind = question + nameOf(fault);
                    if (combinationsOf[kind]++ % sampleStep != 0) {
                        continue;
                    }
                    SCOPED_TRACE(requestName + " on " + machineName + ": " + kind + " at " +
                                 std::to_string(position));
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
                    for (const std::string& type : verdict.turnedAgainst(expected)) {
                        turned.insert(type + ": " + kind);
                    }
                }
            }
        }
    }
    RecordProperty("combinations", static_cast<int>(combinations));
    EXPECT_GT(combinations, 1000U / sampleStep);
    // A volume without disk object, description, media object or property is not looked at, an
    // empty mount table has no volume to fail, and a tool without output is no answer, after which
    // the stored state counts.
    const std::set<std::string> named = {
        "fullDiskEncryption: copyDescription fails",  "fullDiskEncryption: copyMedia fails",
        "fullDiskEncryption: diskAtMountPoint fails", "fullDiskEncryption: mountTable is empty",
        "fullDiskEncryption: property Role fails",    "localFirewall: readOutputToEnd fails",
        "localFirewall: readOutputToEnd is empty",
    };
    if (sampleStep == 1) {
        EXPECT_EQ(turned, named);
    } else {
        EXPECT_TRUE(std::ranges::includes(named, turned)) << testing::PrintToString(turned);
    }
}

} // namespace
