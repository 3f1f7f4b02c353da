// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELPreferences.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

/// The seam: everything that the library asks the operating system. One small class per service,
/// bundled here. A platform answers questions; it never decides whether a device passes, and it
/// never logs. Absent is never empty. Every operation may be called from several threads at once.
class VELPlatform {
public:
    virtual ~VELPlatform() = default;

    /// The platform of the machine that runs this process.
    static std::shared_ptr<const VELPlatform> host();

    /// Nanoseconds of a monotonic clock, since an arbitrary fixed origin. Never fails.
    [[nodiscard]] virtual std::uint64_t ticks() const = 0;

    /// The product version of the operating system, such as "14.5". Absent: no version record, one
    /// that cannot be read, or one without a version. UTF-8.
    [[nodiscard]] virtual std::optional<std::string> productVersion() const = 0;

    /// The hardware's serial number. Absent: the machine has none, or it may not be read. UTF-8.
    [[nodiscard]] virtual std::optional<std::string> serialNumber() const = 0;

    [[nodiscard]] virtual const VELPreferences& preferences() const = 0;
};
