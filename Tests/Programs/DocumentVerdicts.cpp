// SPDX-License-Identifier: Apache-2.0

/// Says what becomes of many documents, one a line of standard input, one line of JSON for each.
///
///     document-verdicts machine          null for a machine description, else why it is none
///     document-verdicts request MACHINE  what the Mac described in the file answers to a request
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELMachineDescription.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::string verdictOnMachine(const std::string& text) {
    std::string error;
    const bool accepted = vel::machineFromDescription(text, &error) != nullptr;
    return (accepted ? VELValue() : VELValue(error)).dump();
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void answerEveryLine(const std::function<std::string(const std::string&)>& answer) {
    for (std::string line; std::getline(std::cin, line);) {
        std::cout << answer(line) << '\n';
    }
}

int answerRequests(const std::string& machinePath) {
    std::string error;
    const auto machine = vel::machineFromDescription(readFile(machinePath), &error);
    if (machine == nullptr) {
        std::cerr << error << '\n';
        return EXIT_FAILURE;
    }
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, machine);
    answerEveryLine([&](const std::string& request) {
        return runner->runPostureCheckFromDocumentString(request);
    });
    return EXIT_SUCCESS;
}

} // namespace

int main(int count, char** values) {
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments == std::vector<std::string>{"machine"}) {
        answerEveryLine(verdictOnMachine);
        return EXIT_SUCCESS;
    }
    if (arguments.size() == 2 && arguments.front() == "request") {
        return answerRequests(arguments.back());
    }
    std::cerr << "usage: document-verdicts machine | request MACHINE\n";
    return EXIT_FAILURE;
}
