// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELDiskArbitration.h"
#include "Platform/VELFiles.h"
#include "Platform/VELKeychain.h"
#include "Platform/VELPreferences.h"
#include "Platform/VELTask.h"
#include "Platform/VELWorkQueue.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

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

    /// The settings that applications have stored. This service and the others below live as long
    /// as the platform.
    [[nodiscard]] virtual const VELPreferences& preferences() const = 0;

    /// The files that checks name.
    [[nodiscard]] virtual const VELFiles& files() const = 0;

    /// Disks and the mount table.
    [[nodiscard]] virtual const VELDiskArbitration& diskArbitration() const = 0;

    /// The calling user's certificates and identities, and trust.
    [[nodiscard]] virtual const VELKeychain& keychain() const = 0;

    /// The executable that stands for a tool of macOS, which is named by its path there
    /// ("/bin/ps"). A tool that nothing stands for is answered with its own path.
    [[nodiscard]] virtual std::string toolPath(std::string_view tool) const = 0;

    /// A task, not yet launched, for the executable at `launchPath` with `arguments`.
    [[nodiscard]] virtual std::shared_ptr<VELTask>
    task(std::string launchPath, std::vector<std::string> arguments) const = 0;

    /// The platform's default-priority queue.
    [[nodiscard]] virtual const VELWorkQueue& workQueue() const = 0;
};
