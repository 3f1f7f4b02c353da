// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <memory>
#include <string>
#include <vector>

/// "minimumOSVersion": passes when the product version of the running system is at least
/// "version" (a string).
class VELOSVersionCheck final : public VELPostureCheckItem {
public:
    explicit VELOSVersionCheck(std::shared_ptr<const VELPlatform> platform);

    bool runCheckWithParameters(const VELDictionary& parameters,
                                std::optional<VELError>* error) const override;
    [[nodiscard]] std::optional<std::vector<std::string>> requiredParameters() const override;

    /// Whether the system's version is `version` or a later one, runs of digits compared by value.
    /// A system whose version is not known is older than every version. `error` is never written.
    static bool osVersionAtLeast(const std::string& version, std::optional<VELError>* error,
                                 const VELPlatform& platform);

private:
    std::shared_ptr<const VELPlatform> _platform;
};
