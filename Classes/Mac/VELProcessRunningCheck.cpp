// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELProcessRunningCheck.h"

#include "Base/VELJSON.h"
#include "Classes/Mac/NSTask+Timeout.h"
#include "Classes/Mac/VELErrorParameter.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Classes/Shared/VELErrorTexts.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <stdexcept>
#include <utility>

namespace {

constexpr const char* processStatusTool = "/bin/ps";
constexpr const char* codeSigningTool = "/usr/bin/codesign";
constexpr const char* certificateTool = "/usr/bin/openssl";
constexpr const char* processesParameter = "processes";
constexpr const char* nameParameter = "name";
constexpr const char* subjectOUParameter = "signingCertificateSubjectOU";

const std::string& requireString(const VELValue& value, const std::string& parameter) {
    const auto* text = value.get_ptr<const std::string*>();
    if (text == nullptr) {
        throw std::invalid_argument(vel::errortext::notAString(parameter));
    }
    return *text;
}

/// Whether a tool's run left an error; for a caller without `error`, whether there is no output.
bool errorStands(const std::optional<VELError>* error, const std::optional<std::string>& output) {
    return error != nullptr ? error->has_value() : !output.has_value();
}

} // namespace

/// What an entry of "processes" asks for. The type of the OU is looked at only where it is
/// compared.
struct VELProcessRunningCheck::Entry {
    const std::string& name;
    const VELValue* subjectOU;
    std::string path;

    [[nodiscard]] const std::string& requiredSubjectOU() const {
        return requireString(*subjectOU, path + subjectOUParameter);
    }
};

VELProcessRunningCheck::VELProcessRunningCheck(std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

std::optional<std::vector<std::string>> VELProcessRunningCheck::requiredParameters() const {
    return {{processesParameter}};
}

bool VELProcessRunningCheck::runCheckWithParameters(const VELDictionary& parameters,
                                                    std::optional<VELError>* error) const {
    const VELValue* processes = vel::valueUnder(processesParameter, parameters);
    return isAnyValidProcessRunning(processes != nullptr ? *processes : VELValue::array(), error);
}

bool VELProcessRunningCheck::isAnyValidProcessRunning(const VELArray& processes,
                                                      std::optional<VELError>* error) const {
    constexpr const char* function = "-[VELProcessRunningCheck isAnyValidProcessRunning:error:]";
    const std::optional<std::string> output = run(processStatusTool, {"-axc"}, nullptr, error);
    if (errorStands(error, output)) {
        return false;
    }
    const vel::ProcessListing listing(output);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Amount of processes running: %lu", listing.lineCount());
    if (!processes.is_array()) {
        throw std::invalid_argument(vel::errortext::notAnArray("processes"));
    }
    for (std::size_t index = 0; index < processes.size(); ++index) {
        const VELValue& process = processes[index];
        const std::string path = "processes[" + std::to_string(index) + "]";
        if (!process.is_object()) {
            throw std::invalid_argument(vel::errortext::notAnObject(path));
        }
        const VELValue* name = vel::valueUnder(nameParameter, process);
        if (name == nullptr) {
            SetPostureCheckError(error, VELPostureCheckErrorMissingParameter,
                                 vel::errortext::processNameMissing);
            return false;
        }
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                         "Name of process being checked: %@", name);
        const Entry entry{requireString(*name, path + "." + nameParameter),
                          vel::valueUnder(subjectOUParameter, process), path + "."};
        if (isRunning(entry, listing, error)) {
            vel::clearError(error);
            return true;
        }
    }
    return false;
}

bool VELProcessRunningCheck::isProcessRunningWithName(
    std::string_view name, const std::optional<std::string>& signingCertificateSubjectOU,
    std::string_view psOutput, std::optional<VELError>* error) const {
    const VELValue subjectOU = signingCertificateSubjectOU.value_or("");
    const std::string ownName(name);
    const Entry entry{ownName, signingCertificateSubjectOU ? &subjectOU : nullptr, ""};
    return isRunning(entry, vel::ProcessListing(psOutput), error);
}

bool VELProcessRunningCheck::isRunning(const Entry& entry, const vel::ProcessListing& listing,
                                       std::optional<VELError>* error) const {
    const std::vector<std::int64_t> candidates = listing.processIDs(entry.name);
    if (entry.subjectOU == nullptr) {
        return !candidates.empty();
    }
    for (const std::int64_t processID : candidates) {
        const std::optional<std::string> found = signingCertSubjectOUForProcess(processID, error);
        if (found && *found == entry.requiredSubjectOU()) {
            vel::clearError(error);
            return true;
        }
        if (error != nullptr && !*error) {
            SetPostureCheckError(error, VELPostureCheckErrorCodeSigningMismatch,
                                 "Process \"" + entry.name +
                                     "\" was found on the system, but it had an incorrect code "
                                     "signing certificate (" +
                                     found.value_or("(null)") + ").");
        }
    }
    return false;
}

std::vector<std::int64_t>
VELProcessRunningCheck::processIDsForProcessWithName(std::string_view name,
                                                     std::string_view psOutput) {
    return vel::ProcessListing(psOutput).processIDs(name);
}

std::optional<std::string>
VELProcessRunningCheck::signingCertSubjectOUForProcess(std::int64_t processID,
                                                       std::optional<VELError>* error) const {
    const auto place = _platform->openWorkingPlace();
    const std::optional<std::string> extraction =
        run(codeSigningTool, {"--display", "--extract-certificates", std::to_string(processID)},
            place, error);
    if (errorStands(error, extraction)) {
        return std::nullopt;
    }
    const std::optional<std::string> line =
        run(certificateTool, {"x509", "-inform", "DER", "-in", "codesign0", "-subject", "-noout"},
            place, error);
    if (errorStands(error, line) || !line) {
        return std::nullopt;
    }
    return subjectOUInSubjectLine(*line);
}

std::optional<std::string> VELProcessRunningCheck::subjectOUInSubjectLine(std::string_view line) {
    constexpr std::string_view label = "/OU=";
    const std::size_t at = line.find(label);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t start = at + label.size();
    const std::size_t end = line.find('/', start);
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return std::string(line.substr(start, end - start));
}

std::optional<std::string> VELProcessRunningCheck::run(const char* tool,
                                                       std::vector<std::string> arguments,
                                                       std::shared_ptr<const VELWorkingPlace> place,
                                                       std::optional<VELError>* error) const {
    const auto task = _platform->task(tool, std::move(arguments), std::move(place));
    return runWithTimeout(task, toolTimeout, error, *_platform);
}
