// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxDisks.h"
#include "Platform/Linux/VELLinuxKeychain.h"
#include "Platform/Linux/VELLinuxPreferences.h"
#include "Platform/Linux/VELLinuxProductVersion.h"
#include "Platform/Linux/VELLinuxSerialNumber.h"
#include "Platform/POSIX/VELPOSIXFiles.h"
#include "Platform/POSIX/VELPOSIXWorkQueue.h"
#include "Platform/VELPlatform.h"
#include "Platform/X509/VELX509Certificates.h"

/// The real state of a Linux machine.
class VELLinuxPlatform final : public VELPlatform {
public:
    /// The machine that runs this process.
    VELLinuxPlatform() = default;

    /// A machine put together from the services given.
    VELLinuxPlatform(VELLinuxProductVersion productVersion, VELLinuxSerialNumber serialNumber,
                     VELLinuxPreferences preferences, VELPOSIXFiles files, VELLinuxDisks disks,
                     VELLinuxKeychain keychain = VELLinuxKeychain(),
                     VELX509Certificates certificates = VELX509Certificates());

    [[nodiscard]] VELTimePoint ticks() const override;
    [[nodiscard]] std::optional<std::string> productVersion() const override;
    [[nodiscard]] std::optional<std::string> serialNumber() const override;
    [[nodiscard]] const VELPreferences& preferences() const override;
    [[nodiscard]] const VELFiles& files() const override;
    [[nodiscard]] const VELDiskArbitration& diskArbitration() const override;
    [[nodiscard]] const VELKeychain& keychain() const override;
    [[nodiscard]] const VELCertificates& certificates() const override;
    [[nodiscard]] std::shared_ptr<const VELWorkingPlace> openWorkingPlace() const override;

    /// The tool finds its place open as `VELPOSIXTask::inheritedDescriptor`.
    [[nodiscard]] std::shared_ptr<VELTask>
    task(std::string_view tool, std::vector<std::string> arguments,
         std::shared_ptr<const VELWorkingPlace> place) const override;
    [[nodiscard]] const VELWorkQueue& workQueue() const override;

private:
    VELLinuxProductVersion _productVersion;
    VELLinuxSerialNumber _serialNumber;
    VELLinuxPreferences _preferences;
    VELPOSIXFiles _files;
    VELLinuxDisks _disks;
    VELLinuxKeychain _keychain;
    VELX509Certificates _certificates;
    VELPOSIXWorkQueue _workQueue;
};
