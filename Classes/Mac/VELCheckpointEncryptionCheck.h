// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>

/// A separate full-disk-encryption product, judged by the status file that it keeps: passes when
/// the file reports every disk as encrypted.
class VELCheckpointEncryptionCheck final : public VELPostureCheckItem {
public:
    explicit VELCheckpointEncryptionCheck(std::shared_ptr<const VELPlatform> platform);

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;

    /// Without the file the answer is no, without an error. A file that is not a property list with
    /// the text "encryptionState" is error code 11.
    [[nodiscard]] bool isCheckpointEncryptionEnabled(std::optional<VELError>* error) const;

    /// The text "encryptionState" of a status file's property list; null when it has none.
    [[nodiscard]] static const std::string* encryptionStateIn(const VELValue& status);

    /// The index of the first piece of `encryptionState`, states separated by commas, that is not
    /// 1; nullopt if all are.
    [[nodiscard]] static std::optional<std::size_t>
    indexOfFailingState(std::string_view encryptionState);

private:
    std::shared_ptr<const VELPlatform> _platform;
};
