// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/DescribeCommand.h"

#include "Base/VELJSON.h"
#include "Base/VELProcessListing.h"
#include "Classes/Mac/VELCheckpointEncryptionCheck.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Tools/vel-posture/OutputFile.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/RequestSource.h"
#include "Tools/vel-posture/StandardStreams.h"
#include "Tools/vel-posture/check/MachineFile.h"
#include "Tools/vel-posture/record/MachineRecord.h"
#include "Tools/vel-posture/record/RecordedTools.h"
#include "Tools/vel-posture/record/WantedValues.h"

#include <nlohmann/json.hpp>

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace {

std::vector<VELValue> readRequests(const std::vector<std::string>& paths) {
    std::vector<VELValue> requests;
    for (const std::string& path : paths.empty() ? paths : requestPaths(paths)) {
        std::optional<VELError> error;
        auto request = vel::readJSON(readRequest(path), &error);
        if (!request) {
            throw ProgramFailure("request \"" + nameOfRequest(path) + "\": " + error->message());
        }
        requests.push_back(std::move(*request));
    }
    return requests;
}

void run(const VELValue& request, const std::shared_ptr<const VELPlatform>& platform) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(nullptr, platform);
    static_cast<void>(runner->runPostureCheckFromDocumentString(vel::compactText(request)));
}

/// Has the checks ask what does not depend on their parameters.
void askWithoutRequest(const std::shared_ptr<const VELPlatform>& platform) {
    run({{platformIdentifier,
          {{{"type", "localFirewall"}},
           {{"type", "fullDiskEncryption"}},
           {{"type", "certificatePresent"}, {"sha1", ""}},
           {{"type", "minimumOSVersion"}, {"version", "0"}},
           {{"type", "anyProcessRunning"}, {"processes", VELValue::array()}},
           {{"type", "joinedToDomain"}, {"names", VELValue::array()}}}}},
        platform);
    run({{kIDParams, {kMacSerialNumberKey, kDeviceIDKey}}}, platform);
    // The check of the disks asks for the status file only if a volume is not encrypted.
    static_cast<void>(
        VELCheckpointEncryptionCheck(platform).isCheckpointEncryptionEnabled(nullptr));
}

/// Asks for the signers of all processes with these names in the listing that was recorded: a
/// second listing might have others.
void askForSigners(const std::set<std::string>& names,
                   const std::vector<VELRecordedAnswer>& answers,
                   const std::shared_ptr<const VELPlatform>& platform) {
    std::set<std::int64_t> processIDs;
    for (const VELRecordedAnswer& answer : answers) {
        const auto* listing = std::get_if<vel::recorded::Run>(&answer.answer);
        if (listing != nullptr && recordedtools::isOf(recordedtools::processes, *listing)) {
            for (const std::string& name : names) {
                const auto found = vel::ProcessListing(listing->output).processIDs(name);
                processIDs.insert(found.begin(), found.end());
            }
        }
    }
    const VELProcessRunningCheck check(platform);
    for (const std::int64_t processID : processIDs) {
        std::optional<VELError> error;
        static_cast<void>(check.signingCertSubjectOUForProcess(processID, &error));
    }
}

} // namespace

int runDescribeCommand(const CommandLine& commandLine) {
    const std::vector<VELValue> requests = readRequests(commandLine.requests);
    const WantedValues wanted = wantedValues(requests);
    const auto recording = std::make_shared<VELRecording>();
    const auto platform = std::make_shared<const VELRecordingPlatform>(
        commandLine.machine ? machineFromFile(*commandLine.machine) : VELPlatform::host(),
        recording);
    askWithoutRequest(platform);
    askForSigners(wanted.signedProcesses, recording->answers(), platform);
    run({{platformIdentifier, wanted.identityEntries}}, platform);

    const std::string description =
        machineRecord(*recording, commandLine.redact ? &requests : nullptr);
    if (commandLine.output) {
        replaceFile(*commandLine.output, description, FileReaders::owner);
    } else {
        writeStandardOutput(description);
    }
    return 0;
}
