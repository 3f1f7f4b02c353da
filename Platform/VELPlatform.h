// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/VELCertificates.h"
#include "Platform/VELClock.h"
#include "Platform/VELDiskArbitration.h"
#include "Platform/VELFiles.h"
#include "Platform/VELKeychain.h"
#include "Platform/VELPreferences.h"
#include "Platform/VELTask.h"
#include "Platform/VELWorkQueue.h"
#include "Platform/VELWorkingPlace.h"

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

    /// The platform of the machine that runs this process. It is never destroyed.
    static std::shared_ptr<const VELPlatform> host();

    /// The time of the platform's monotonic clock, which starts anywhere. Never fails.
    [[nodiscard]] virtual VELTimePoint ticks() const = 0;

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

    /// The calling user's certificates and identities.
    [[nodiscard]] virtual const VELKeychain& keychain() const = 0;

    /// Parsing certificates, and trust.
    [[nodiscard]] virtual const VELCertificates& certificates() const = 0;

    /// A new place for tools that leave files for each other. Never null; a place that could not be
    /// made makes the launch of a task in it fail.
    [[nodiscard]] virtual std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const = 0;

    /// A task, not yet launched, for a tool of macOS, named by its path there ("/bin/ps"), with
    /// `arguments`. The platform decides which executable stands for the tool: the task's launch
    /// path. A tool that nothing stands for is the executable at that path itself. `place`
    /// is one of this platform's, or null for a tool that leaves nothing behind.
    [[nodiscard]] virtual std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const = 0;

    /// The platform's default-priority queue.
    [[nodiscard]] virtual const VELWorkQueue& workQueue() const = 0;
};
