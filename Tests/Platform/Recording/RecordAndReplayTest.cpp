// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Recording/VELRecordedMachine.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/GeneratedMachines.h"
#include "Tests/Support/KeptDocuments.h"
#include "Tests/Support/Sanitized.h"

#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using examples::Answer;

std::shared_ptr<VELSimulatedPlatform> machineFrom(const std::string& description) {
    std::string error;
    auto machine = vel::machineFromDescription(description, &error);
    if (machine == nullptr) {
        throw std::runtime_error(error + ": " + description);
    }
    return machine;
}

/// The answers to requests in order, and what describes the machine that gave them.
struct Recorded {
    std::vector<Answer> answers;
    std::string description;
};

Recorded record(const std::vector<std::string>& requests,
                const std::shared_ptr<const VELPlatform>& machine) {
    const auto recording = std::make_shared<VELRecording>();
    const auto platform = std::make_shared<const VELRecordingPlatform>(machine, recording);
    Recorded recorded;
    for (const std::string& request : requests) {
        recorded.answers.push_back(examples::answer(request, platform));
    }
    EXPECT_TRUE(recording->isComplete());
    std::string error;
    recorded.description =
        vel::descriptionOfAnswers(recording->answers(), &error).value_or("no description");
    EXPECT_EQ(error, "");
    return recorded;
}

void expectSame(const Answer& answer, const Answer& expected) {
    EXPECT_EQ(answer.result, expected.result);
    EXPECT_EQ(answer.log, expected.log);
}

/// Holds that requests are answered the same on a machine, on that machine recorded, and on the one
/// that the recording describes. `make` makes the machine anew. Returns the description.
template <typename Make>
std::string expectSameWhenReplayed(const std::vector<std::string>& requests, const Make& make) {
    const std::shared_ptr<VELSimulatedPlatform> machine = make();
    const Recorded first = record(requests, make());
    // A recording of the replay describes the same machine.
    const Recorded second = record(requests, machineFrom(first.description));
    for (std::size_t index = 0; index < requests.size(); ++index) {
        expectSame(first.answers[index], examples::answer(requests[index], machine));
        expectSame(second.answers[index], first.answers[index]);
    }
    EXPECT_EQ(second.description, first.description);
    return first.description;
}

class RecordAndReplay : public testing::Test {
protected:
    ~RecordAndReplay() override { VELDTLogger::setLogger(nullptr); }
};

TEST_F(RecordAndReplay, EveryExampleIsAnsweredTheSame) {
    std::vector<std::string> all;
    for (const std::string& request : examples::filesIn("Requests")) {
        all.push_back(examples::request(request));
    }
    for (const std::string& name : examples::filesIn("Machines")) {
        SCOPED_TRACE(name);
        const auto make = [&] { return examples::machine(name); };
        for (const std::string& request : all) {
            keepMachineDescription(expectSameWhenReplayed({request}, make));
        }
        keepMachineDescription(expectSameWhenReplayed(all, make));
    }
}

TEST_F(RecordAndReplay, GeneratedMachinesAreAnsweredTheSame) {
    constexpr unsigned machines = 2'500;
    constexpr unsigned requestsPerMachine = 4;
    constexpr unsigned kept = 200;
    for (unsigned seed = 0; seed < machines && !HasFailure(); seed += sampleStep) {
        GeneratedMachines generated(seed);
        const std::string machine = generated.machine().dump();
        std::vector<std::string> requests;
        for (unsigned count = 0; count < requestsPerMachine; ++count) {
            requests.push_back(generated.request().dump());
        }
        const bool isWorkingPlaceMade = generated.chance(15, 16);
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + machine);
        const std::string description = expectSameWhenReplayed(requests, [&] {
            auto made = machineFrom(machine);
            made->workingPlacesAvailable = isWorkingPlaceMade;
            return made;
        });
        if (seed < kept) {
            keepMachineDescription(machine);
            keepMachineDescription(description);
        }
    }
}

/// A result without its times.
VELValue withoutTimes(const std::string& result) {
    VELValue value = VELValue::parse(result);
    value.erase("metrics");
    return value;
}

TEST_F(RecordAndReplay, ARunOnThisMachineIsAnsweredTheSame) {
    VELValue request = VELValue::parse(examples::request("all-checks.json"));
    std::string ownName;
    std::getline(std::ifstream("/proc/self/comm"), ownName);
    request["mac"].push_back(
        {{"type", "anyProcessRunning"},
         {"processes", {{{"name", ownName}, {"signingCertificateSubjectOU", "TEAM42"}}}}});
    const std::vector<std::string> requests = {request.dump(), examples::request("identity.json")};
    const Recorded recorded = record(requests, VELPlatform::host());
    const auto replay = machineFrom(recorded.description);
    for (std::size_t index = 0; index < requests.size(); ++index) {
        Answer live = recorded.answers[index];
        Answer replayed = examples::answer(requests[index], replay);
        EXPECT_EQ(withoutTimes(replayed.result), withoutTimes(live.result));
        // The last line shows the result with its times.
        live.log.pop_back();
        replayed.log.pop_back();
        EXPECT_EQ(replayed.log, live.log);
    }
}

TEST_F(RecordAndReplay, ASignerIsThatOfItsProcess) {
    const auto make = [] {
        return machineFrom(R"({"tools": [
            {"command": ["/bin/ps", "-axc"], "output": "7 first\n8 second\n"},
            {"command": ["/usr/bin/codesign", "--display", "--extract-certificates", "7"]},
            {"command": ["/usr/bin/codesign", "--display", "--extract-certificates", "8"]},
            {"command": ["/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0",
                         "-subject", "-noout"], "output": "/OU=TEAM42/"},
            {"command": ["/usr/bin/openssl", "x509", "-inform", "DER", "-in", "codesign0",
                         "-subject", "-noout"], "output": "/OU=OTHER7/"}]})");
    };
    const auto requestFor = [](const char* name) {
        return VELValue{
            {"mac",
             {{{"type", "anyProcessRunning"},
               {"processes", {{{"name", name}, {"signingCertificateSubjectOU", "TEAM42"}}}}}}}};
    };
    VELValue both = requestFor("first");
    both["mac"].push_back(requestFor("second")["mac"][0]);
    const std::string description = expectSameWhenReplayed({both.dump()}, make);
    // Asked for alone, the second process has its own signer, not the one that was read first.
    const VELValue result = withoutTimes(
        examples::answer(requestFor("second").dump(), machineFrom(description)).result);
    EXPECT_EQ(result["pass"], false);
    EXPECT_EQ(result["checks"][0]["error"],
              "Process \"second\" was found on the system, but it had an incorrect code signing "
              "certificate (OTHER7).");
}

} // namespace
