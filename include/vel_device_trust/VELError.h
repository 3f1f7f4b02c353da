// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "vel_device_trust/VELExport.h"
#include "vel_device_trust/VELValue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// Describes why an operation could not be carried out: a domain, a code within the domain, and
/// further data. Immutable; a copy shares its contents. Safe to read from any thread.
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

    /// The domain of the code; the library's own is `kVELPostureCheckErrorDomain`.
    [[nodiscard]] const std::string& domain() const noexcept;
    /// The number of the error within its domain.
    [[nodiscard]] std::int64_t code() const noexcept;
    /// Further data, including the texts for people: a dictionary.
    [[nodiscard]] const VELDictionary& userInfo() const noexcept;

    /// The whole error in one line, for people: domain, code and userInfo. UTF-8.
    [[nodiscard]] std::string description() const;

    /// The text to show to a person: the userInfo value under
    /// "com.vel.posturecheck.unlocalized-description", else the one under
    /// "NSLocalizedDescription", else `description()`. A value that is not a string is shown as
    /// compact JSON. Always valid UTF-8: invalid bytes are replaced. This is what a result shows.
    [[nodiscard]] std::string message() const;

private:
    struct Contents;
    std::shared_ptr<const Contents> _contents;
};
