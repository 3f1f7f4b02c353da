// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/check/CheckCommand.h"

#include "Base/VELJSON.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Tools/vel-posture/OutputStyle.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/JSONLogFile.h"
#include "Tools/vel-posture/check/MachineFile.h"
#include "Tools/vel-posture/check/ResultReport.h"
#include "Tools/vel-posture/check/RunningNotice.h"

#include <nlohmann/json.hpp>

#include <unistd.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

constexpr std::chrono::milliseconds noticeDelay(200);

std::string identityRequest(std::vector<std::string> names) {
    if (names.empty()) {
        names = {kMacSerialNumberKey, kDeviceIDKey};
    }
    VELDictionary request = VELValue::object();
    request[kIDParams] = names;
    const auto text = vel::writeJSON(request, nullptr);
    if (!text) {
        throw ProgramFailure("NAME is not valid UTF-8");
    }
    for (const std::string& name : names) {
        const std::string value = vel::lowercase(name);
        if (value != kMacSerialNumberKey && value != kDeviceIDKey) {
            diagnose("unknown identity value: " + name);
        }
    }
    return *text;
}

/// Null where nobody would see it, or where log lines would run into it.
std::shared_ptr<RunningNotice> makeNotice(const JSONLogFile* log) {
    if (!isTerminal(STDERR_FILENO) || (log != nullptr && log->isStandardError())) {
        return nullptr;
    }
    return std::make_shared<RunningNotice>(
        noticeDelay, terminalColumns(STDERR_FILENO),
        [](std::string_view text) { vel::writeAll(STDERR_FILENO, text); });
}

std::string runRequest(const std::string& request, std::shared_ptr<const VELPlatform> platform,
                       const std::shared_ptr<JSONLogFile>& log) {
    VELPostureCheckCatalogue catalogue = macPostureCheckCatalogue(platform);
    if (const auto notice = makeNotice(log.get())) {
        catalogue = catalogueWithNotice(catalogue, notice);
    }
    const auto runner = VELPlatformRunnerFactory::runner(platformIdentifier, std::move(catalogue),
                                                         log, std::move(platform));
    return runner->runPostureCheckFromDocumentString(request);
}

int runAndReport(const CommandLine& commandLine, const std::function<std::string()>& request) {
    const auto log = commandLine.log ? std::make_shared<JSONLogFile>(*commandLine.log) : nullptr;
    auto platform =
        commandLine.machine ? machineFromFile(*commandLine.machine) : VELPlatform::host();
    const std::string document = runRequest(request(), std::move(platform), log);

    // Read as deep as it is: a result nests a little deeper than the request that it answers.
    const VELValue result = VELValue::parse(document);
    int status = exitStatus(result);
    if (ranNoCheck(result) && isTerminal(STDERR_FILENO)) {
        diagnose(std::string("no checks under \"") + platformIdentifier + "\"");
    }
    if (const std::string failure = log ? log->failure() : ""; !failure.empty()) {
        diagnose(failure);
        status = 2;
    }
    writeStandardOutput(outputFormat(commandLine) == CommandLine::Format::text
                            ? resultReport(result, styleOfStandardOutput())
                            : document + "\n");
    return status;
}

} // namespace

int runCheckCommand(const CommandLine& commandLine) {
    return runAndReport(commandLine, [&] { return readRequest(commandLine.request); });
}

int runIdentityCommand(const CommandLine& commandLine) {
    return runAndReport(commandLine, [&] { return identityRequest(commandLine.names); });
}
