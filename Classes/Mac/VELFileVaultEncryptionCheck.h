// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELDiskArbitration.h"
#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>
#include <optional>

/// The system's own volume encryption, judged by the mounted volumes: passes when every volume in
/// scope is encrypted. In scope is a volume that is internal, not formatted as NTFS, not a sealed
/// system volume, and in the "Data" role.
class VELFileVaultEncryptionCheck final : public VELPostureCheckItem {
public:
    explicit VELFileVaultEncryptionCheck(std::shared_ptr<const VELPlatform> platform);

    /// Never writes `error`: what goes wrong shows as false, or as a volume left out.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

    /// The scan. Fails without a session or a mount table; a mount point without a disk is skipped.
    [[nodiscard]] bool allInternalOrBootVolumesEncrypted() const;

    /// Marked internal, or on the protocol "PCI".
    [[nodiscard]] static bool isInternalDisk(const VELDisk& disk);
    /// Of the kind "ntfs", exactly.
    [[nodiscard]] static bool isNTFSFormattedDisk(const VELDisk& disk);
    /// "Sealed" is present and not "No", in whatever letter case.
    [[nodiscard]] static bool isSSVVolume(const VELDisk& disk);
    /// "Role" holds "Data".
    [[nodiscard]] static bool isDataRole(const VELDisk& disk);
    /// "Encrypted" or "CoreStorage Encrypted" is true.
    [[nodiscard]] static bool isEncryptedDisk(const VELDisk& disk);

    /// The same rules for what was read before: a description, or properties of the media object.
    /// They log nothing.
    [[nodiscard]] static bool isInternal(const VELDiskDescription& description);
    [[nodiscard]] static bool isNTFS(const VELDiskDescription& description);
    [[nodiscard]] static bool isSealed(const std::optional<VELValue>& sealed);
    [[nodiscard]] static bool hasDataRole(const std::optional<VELValue>& roles);
    [[nodiscard]] static bool isEncrypted(const std::optional<VELValue>& property);

private:
    [[nodiscard]] static bool isInScope(const VELDisk& disk);

    std::shared_ptr<const VELPlatform> _platform;
};
