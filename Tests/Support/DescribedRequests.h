// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/RecordingLogger.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// The requests and the described Macs of Examples/, and what a platform makes of them.
namespace examples {

/// The names of the files in a folder of the examples, in order.
inline std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry :
         std::filesystem::directory_iterator(VEL_SOURCE_DIRECTORY "/Examples/" + folder)) {
        names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
}

inline std::string request(const std::string& name) {
    return contentOf(VEL_SOURCE_DIRECTORY "/Examples/Requests/" + name);
}

/// The described Mac, newly made.
inline std::shared_ptr<VELSimulatedPlatform> machine(const std::string& name) {
    std::string error;
    auto described = vel::machineFromDescription(
        contentOf(VEL_SOURCE_DIRECTORY "/Examples/Machines/" + name), &error);
    if (described == nullptr) {
        throw std::runtime_error(name + ": " + error);
    }
    return described;
}

struct Answer {
    std::string result;
    std::vector<LogLine> log;
};

inline Answer answer(const std::string& request,
                     const std::shared_ptr<const VELPlatform>& platform) {
    const auto logger = std::make_shared<RecordingLogger>();
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
    Answer answer = {runner->runPostureCheckFromDocumentString(request), {}};
    answer.log = logger->take();
    return answer;
}

} // namespace examples
