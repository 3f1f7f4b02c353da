// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPlatform.h"

#include "Platform/Linux/VELLinuxSigningFolder.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <chrono>
#include <utility>

VELLinuxPlatform::VELLinuxPlatform(VELLinuxProductVersion productVersion,
                                   VELLinuxSerialNumber serialNumber,
                                   VELLinuxPreferences preferences, VELPOSIXFiles files,
                                   VELLinuxDisks disks, VELLinuxKeychain keychain)
    : _productVersion(std::move(productVersion)), _serialNumber(std::move(serialNumber)),
      _preferences(std::move(preferences)), _files(std::move(files)), _disks(std::move(disks)),
      _keychain(std::move(keychain)) {}

std::uint64_t VELLinuxPlatform::ticks() const {
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() /
                                      std::chrono::nanoseconds(1));
}

std::optional<std::string> VELLinuxPlatform::productVersion() const {
    return _productVersion.read();
}

std::optional<std::string> VELLinuxPlatform::serialNumber() const {
    return _serialNumber.read();
}

const VELPreferences& VELLinuxPlatform::preferences() const {
    return _preferences;
}

const VELFiles& VELLinuxPlatform::files() const {
    return _files;
}

const VELDiskArbitration& VELLinuxPlatform::diskArbitration() const {
    return _disks;
}

const VELKeychain& VELLinuxPlatform::keychain() const {
    return _keychain;
}

std::string VELLinuxPlatform::toolPath(std::string_view tool) const {
    return vel::linuxToolPath(tool);
}

std::shared_ptr<VELTask> VELLinuxPlatform::task(std::string launchPath,
                                                std::vector<std::string> arguments) const {
    if (const auto step = vel::signingStep(launchPath)) {
        return vel::signingTask(*step, std::move(launchPath), std::move(arguments),
                                vel::privateFolderPlaces());
    }
    return std::make_shared<VELPOSIXTask>(std::move(launchPath), std::move(arguments));
}

const VELWorkQueue& VELLinuxPlatform::workQueue() const {
    return _workQueue;
}
