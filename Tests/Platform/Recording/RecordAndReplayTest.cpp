// SPDX-License-Identifier: Apache-2.0
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Recording/VELRecordedMachine.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/GeneratedMachines.h"
#include "Tests/Support/KeptDocuments.h"

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
    for (unsigned seed = 0; seed < machines && !HasFailure(); ++seed) {
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

} // namespace
