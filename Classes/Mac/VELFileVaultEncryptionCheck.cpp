// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"

#include "Base/VELText.h"
#include "Classes/Shared/VELDTLogger.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <utility>

namespace {

/// A property of the disk's media object that is of the wanted type; one of another type counts as
/// absent.
std::optional<VELValue> property(const VELDiskMedia* media, std::string_view name,
                                 bool (VELValue::*isWanted)() const noexcept) {
    std::optional<VELValue> value = media != nullptr ? media->property(name) : std::nullopt;
    return value && ((*value).*isWanted)() ? value : std::nullopt;
}

/// A boolean number of the platform may be stored as a plain number: what is not zero is true.
bool isTrueNumber(const VELValue* value) {
    return value != nullptr && (*value == true || (value->is_number() && *value != VELValue(0)));
}

bool isText(const VELValue* value, std::string_view text) {
    return value != nullptr && value->is_string() && value->get_ref<const std::string&>() == text;
}

constexpr const char* scanFunction =
    "-[VELFileVaultEncryptionCheck allInternalOrBootVolumesEncrypted]";

} // namespace

VELFileVaultEncryptionCheck::VELFileVaultEncryptionCheck(
    std::shared_ptr<const VELPlatform> platform)
    : _platform(std::move(platform)) {}

bool VELFileVaultEncryptionCheck::runCheckWithParameters(const VELDictionary& /*parameters*/,
                                                         std::optional<VELError>* /*error*/) const {
    return allInternalOrBootVolumesEncrypted();
}

bool VELFileVaultEncryptionCheck::allInternalOrBootVolumesEncrypted() const {
    const VELDiskArbitration& diskArbitration = _platform->diskArbitration();
    const std::unique_ptr<VELDiskSession> session = diskArbitration.createSession();
    if (session == nullptr) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, scanFunction,
                                         "Failed to create session");
        return false;
    }

    const std::optional<std::vector<VELMount>> mounts = diskArbitration.mountTable();
    if (!mounts) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::error, scanFunction,
                                         "Failed to retrieve getmntinfo volumes list");
        return false;
    }
    for (const VELMount& mount : *mounts) {
        VELDTLogger::logMessageWithLevel(VELLogLevel::trace, scanFunction,
                                         "Disk type '%s' mounted at: %s", mount.fileSystemType,
                                         mount.mountPoint);
    }

    bool allEncrypted = true;
    for (const VELMount& mount : *mounts) {
        if (!vel::isValidUTF8(mount.mountPoint)) {
            continue;
        }
        VELDTLogger::logMessageWithLevel(VELLogLevel::information, scanFunction, "Volume URL: %@",
                                         mount.mountPoint);
        const std::unique_ptr<VELDisk> disk = session->diskAtMountPoint(mount.mountPoint);
        if (disk == nullptr) {
            VELDTLogger::logMessageWithLevel(VELLogLevel::information, scanFunction,
                                             "Failed to create disk");
        } else if (isInScope(*disk) && !isEncryptedDisk(*disk)) {
            allEncrypted = false;
        }
    }
    return allEncrypted;
}

bool VELFileVaultEncryptionCheck::isInScope(const VELDisk& disk) {
    return isInternalDisk(disk) && !isNTFSFormattedDisk(disk) && !isSSVVolume(disk) &&
           isDataRole(disk);
}

bool VELFileVaultEncryptionCheck::isInternalDisk(const VELDisk& disk) {
    const VELDiskDescription description = disk.copyDescription().value_or(VELDiskDescription{});
    const bool answer = isInternal(description);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELFileVaultEncryptionCheck isInternalDisk:]",
                                     "isInternalDisk?: %hhd", answer);
    return answer;
}

bool VELFileVaultEncryptionCheck::isNTFSFormattedDisk(const VELDisk& disk) {
    const VELDiskDescription description = disk.copyDescription().value_or(VELDiskDescription{});
    const bool answer = isNTFS(description);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELFileVaultEncryptionCheck isNTFSFormattedDisk:]",
                                     "isNTFSFormattedDisk?: %hhd", answer);
    return answer;
}

bool VELFileVaultEncryptionCheck::isSSVVolume(const VELDisk& disk) {
    const std::unique_ptr<VELDiskMedia> media = disk.copyMedia();
    const std::optional<VELValue> sealed = property(media.get(), "Sealed", &VELValue::is_string);
    const bool answer = isSealed(sealed);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELFileVaultEncryptionCheck isSSVVolume:]",
                                     "isSSV?: %hhd value:%@", answer, sealed);
    return answer;
}

bool VELFileVaultEncryptionCheck::isDataRole(const VELDisk& disk) {
    const std::unique_ptr<VELDiskMedia> media = disk.copyMedia();
    const std::optional<VELValue> roles = property(media.get(), "Role", &VELValue::is_array);
    const bool isData = hasDataRole(roles);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information,
                                     "-[VELFileVaultEncryptionCheck isDataRole:]",
                                     "isDataRole?: %hhd value:%@", isData, roles);
    return isData;
}

bool VELFileVaultEncryptionCheck::isEncryptedDisk(const VELDisk& disk) {
    constexpr const char* function = "-[VELFileVaultEncryptionCheck isEncryptedDisk:]";
    const std::unique_ptr<VELDiskMedia> media = disk.copyMedia();
    const auto encryptedProperty = property(media.get(), "Encrypted", &VELValue::is_boolean);
    const auto coreStorageProperty =
        property(media.get(), "CoreStorage Encrypted", &VELValue::is_boolean);
    const bool encrypted = isEncrypted(encryptedProperty);
    const bool coreStorageEncrypted = isEncrypted(coreStorageProperty);
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "Encrypted?: %d",
                                     int{encrypted});
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function,
                                     "CoreStorage Encrypted?: %d", int{coreStorageEncrypted});
    const bool answer = encrypted || coreStorageEncrypted;
    VELDTLogger::logMessageWithLevel(VELLogLevel::information, function, "isEncryptedDisk?: %hhd",
                                     answer);
    return answer;
}

bool VELFileVaultEncryptionCheck::isInternal(const VELDiskDescription& description) {
    return isTrueNumber(description.deviceInternal.get()) ||
           isText(description.deviceProtocol.get(), "PCI");
}

bool VELFileVaultEncryptionCheck::isNTFS(const VELDiskDescription& description) {
    return isText(description.volumeKind.get(), "ntfs");
}

bool VELFileVaultEncryptionCheck::isSealed(const std::optional<VELValue>& sealed) {
    return sealed && sealed->is_string() &&
           vel::lowercase(sealed->get_ref<const std::string&>()) != "no";
}

bool VELFileVaultEncryptionCheck::hasDataRole(const std::optional<VELValue>& roles) {
    return roles && roles->is_array() &&
           std::ranges::any_of(*roles, [](const VELValue& role) { return isText(&role, "Data"); });
}

bool VELFileVaultEncryptionCheck::isEncrypted(const std::optional<VELValue>& property) {
    return property && *property == true;
}
