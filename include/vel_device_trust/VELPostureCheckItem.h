// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELExport.h"
#include "vel_device_trust/VELValue.h"

#include <optional>
#include <string>
#include <vector>

/// One type of posture check.
///
/// One object serves every request of the runner that owns it, for the runner's whole life, and on
/// several threads at once if the host runs requests on several threads. It keeps nothing between
/// requests.
class VEL_EXPORT VELPostureCheckItem {
public:
    VELPostureCheckItem() = default;
    VELPostureCheckItem(const VELPostureCheckItem&) = delete;
    VELPostureCheckItem& operator=(const VELPostureCheckItem&) = delete;
    virtual ~VELPostureCheckItem();

    /// Runs the check once and returns whether the device passes it.
    ///
    /// - `parameters`: the whole check entry of the request, "type" included.
    /// - `error`: may be null. A check that could not be carried out sets it (usually through
    ///   `SetPostureCheckError`) and returns false. A check that ran and found the device
    ///   non-compliant returns false and does not set it. If an error is set, the check has not
    ///   passed, even if it returns true.
    ///
    /// A `std::exception` that this operation throws during a request becomes the error of its
    /// entry; the following checks still run.
    virtual bool runCheckWithParameters(const VELDictionary& parameters,
                                        std::optional<VELError>* error) const = 0;

    /// Names of the keys that must be present in the parameters before
    /// `runCheckWithParameters` is called; the runner checks their presence, never their type.
    /// The default returns nullopt: nothing is required.
    [[nodiscard]] virtual std::optional<std::vector<std::string>> requiredParameters() const;
};
