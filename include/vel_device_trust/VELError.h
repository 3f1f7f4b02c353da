// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELExport.h"
#include "vel_device_trust/VELValue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Why something could not be carried out: a domain, a code within it, and what is known beside.
/// Immutable; a copy shares its contents. Safe to read from any thread.
///
/// Every operation that can fail takes a `std::optional<VELError>*` as its last argument, its error
/// out-parameter: it may be null, and it is written only on failure.
class VEL_EXPORT VELError {
public:
    /// `userInfo` is a dictionary.
    VELError(std::string domain, std::int64_t code, VELDictionary userInfo);

    /// An error whose one userInfo entry is `localizedDescription`, under
    /// "NSLocalizedDescription": the form of the platform's own errors.
    static VELError withLocalizedDescription(std::string domain, std::int64_t code,
                                             std::string localizedDescription);

    /// Whose codes these are; the library's own is `kVELPostureCheckErrorDomain`.
    [[nodiscard]] const std::string& domain() const noexcept;
    /// Which error of its domain it is.
    [[nodiscard]] std::int64_t code() const noexcept;
    /// What is known beside, the texts for people among it: a dictionary.
    [[nodiscard]] const VELDictionary& userInfo() const noexcept;

    /// The whole error in one line, for people: domain, code and userInfo. UTF-8.
    [[nodiscard]] std::string description() const;

    /// The text for the person concerned: the userInfo string under
    /// "com.vel.posturecheck.unlocalized-description", else the one under
    /// "NSLocalizedDescription", else `description()`. This is what a result shows.
    [[nodiscard]] std::string message() const;

private:
    struct Contents;
    std::shared_ptr<const Contents> _contents;
};
