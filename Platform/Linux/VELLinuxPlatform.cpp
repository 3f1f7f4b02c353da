// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxPlatform.h"

#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Platform/Linux/VELLinuxWorkingPlace.h"
#include "Platform/POSIX/VELMonotonicClock.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <utility>

VELLinuxPlatform::VELLinuxPlatform(VELLinuxProductVersion productVersion,
                                   VELLinuxSerialNumber serialNumber,
                                   VELLinuxPreferences preferences, VELPOSIXFiles files,
                                   VELLinuxDisks disks, VELLinuxKeychain keychain,
                                   VELX509Certificates certificates)
    : _productVersion(std::move(productVersion)), _serialNumber(std::move(serialNumber)),
      _preferences(std::move(preferences)), _files(std::move(files)), _disks(std::move(disks)),
      _keychain(std::move(keychain)), _certificates(std::move(certificates)) {}

VELTimePoint VELLinuxPlatform::ticks() const {
    return vel::monotonicNow();
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

const VELCertificates& VELLinuxPlatform::certificates() const {
    return _certificates;
}

std::shared_ptr<const VELWorkingPlace> VELLinuxPlatform::openWorkingPlace() const {
    return std::make_shared<const VELLinuxWorkingPlace>();
}

std::shared_ptr<VELTask>
VELLinuxPlatform::task(std::string_view tool, std::vector<std::string> arguments,
                       std::shared_ptr<const VELWorkingPlace> place) const {
    std::string path = vel::linuxToolPath(tool);
    auto options = path == tool ? VELPOSIXTask::Options() : vel::linuxToolOptions();
    if (auto own = std::dynamic_pointer_cast<const VELLinuxWorkingPlace>(std::move(place))) {
        const VELDescriptor* file = &own->file();
        options.inherited = std::shared_ptr<const VELDescriptor>(std::move(own), file);
    }
    return std::make_shared<VELPOSIXTask>(std::move(path), std::move(arguments),
                                          std::move(options));
}

const VELWorkQueue& VELLinuxPlatform::workQueue() const {
    return _workQueue;
}
