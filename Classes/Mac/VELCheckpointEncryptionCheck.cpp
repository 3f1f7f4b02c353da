// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELCheckpointEncryptionCheck.h"

#include "Base/VELJSON.h"
#include "Base/VELPropertyList.h"
#include "Base/VELText.h"
#include "Classes/Shared/VELDTLogger.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <nlohmann/json.hpp>

#include <utility>

namespace {

constexpr const char* statusFile = "/Library/Application Support/Checkpoint/FDE/fdeencstatus.plist";

std::optional<VELDictionary> readDictionary(const VELFiles& files, const std::string& path) {
    const std::optional<std::string> bytes = files.read(path);
    std::optional<VELValue> root = bytes ? vel::readPropertyList(*bytes, nullptr) : std::nullopt;
    return root && root->is_object() ? std::move(root) : std::nullopt;
}

} // namespace

VELCheckpointEncryptionCheck::VELCheckpointEncryptionCheck(
    std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

bool VELCheckpointEncryptionCheck::runCheckWithParameters(const VELDictionary& /*parameters*/,
                                                          std::optional<VELError>* error) const {
    return isCheckpointEncryptionEnabled(error);
}

bool VELCheckpointEncryptionCheck::isCheckpointEncryptionEnabled(
    std::optional<VELError>* error) const {
    constexpr const char* function =
        "-[VELCheckpointEncryptionCheck isCheckpointEncryptionEnabled:]";
    const VELFiles& files = _platform->files();
    if (!files.exists(statusFile)) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                         "Status file deosn't exist!");
        return false;
    }
    const std::optional<VELDictionary> status = readDictionary(files, statusFile);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "Encryption status file: %@", status);
    const std::string* encryptionState = status ? encryptionStateIn(*status) : nullptr;
    if (encryptionState == nullptr) {
        SetPostureCheckError(error, VELPostureCheckErrorStatusFileFormat,
                             "Checkpoint encryption status file was not in the expected format.");
        return false;
    }
    if (const std::optional<std::size_t> index = indexOfFailingState(*encryptionState)) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                         "Index of failing individualDiskEncryptionState %lu",
                                         *index);
        return false;
    }
    return true;
}

const std::string* VELCheckpointEncryptionCheck::encryptionStateIn(const VELValue& status) {
    const VELValue* state = vel::valueUnder("encryptionState", status);
    return state != nullptr ? state->get_ptr<const std::string*>() : nullptr;
}

std::optional<std::size_t>
VELCheckpointEncryptionCheck::indexOfFailingState(std::string_view encryptionState) {
    std::size_t index = 0;
    for (const std::string_view state : vel::split(encryptionState, ',')) {
        if (vel::integerValue(state) != 1) {
            return index;
        }
        ++index;
    }
    return std::nullopt;
}
