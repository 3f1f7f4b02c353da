// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>

/// "fullDiskEncryption": passes when one of the encryption methods says that the disks are
/// encrypted: the system's own volume encryption, else a separate full-disk-encryption product.
/// Takes no parameters.
class VELDiskEncryptionCheck final : public VELPostureCheckItem {
public:
    explicit VELDiskEncryptionCheck(std::shared_ptr<const VELPlatform> platform);

    /// Asks the methods in their order; the first that passes decides, and an error that one before
    /// it left in `error` is discarded.
    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

private:
    std::shared_ptr<const VELPlatform> _platform;
};
