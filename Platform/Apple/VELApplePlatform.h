// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Apple/VELAppleCertificates.h"
#include "Platform/Apple/VELAppleDisks.h"
#include "Platform/Apple/VELAppleKeychain.h"
#include "Platform/Apple/VELApplePreferences.h"
#include "Platform/Apple/VELAppleWorkQueue.h"
#include "Platform/POSIX/VELPOSIXFiles.h"
#include "Platform/VELPlatform.h"

/// The real state of a Mac. Each question is asked of the system's services afresh, on the caller's
/// thread; none needs a run loop.
class VELApplePlatform final : public VELPlatform {
public:
    /// The Mac that runs this process. `root` stands before the absolute paths of files, empty for
    /// the machine itself.
    explicit VELApplePlatform(std::string root = {});

    [[nodiscard]] VELTimePoint ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
    [[nodiscard]] const VELFiles& files() const override;
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override;
    [[nodiscard]] const VELKeychain& keychain() const override;
    [[nodiscard]] const VELCertificates& certificates() const override;

    /// The host's current directory: tools leave their files there, and nobody removes them.
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override;

    /// The tool itself.
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override;

    [[nodiscard]] const VELWorkQueue& workQueue() const override;

private:
    VELApplePreferences _preferences;
    VELPOSIXFiles _files;
    VELAppleDisks _disks;
    VELAppleKeychain _keychain;
    VELAppleCertificates _certificates;
    VELAppleWorkQueue _workQueue;
};
