// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELApplePlatform.h"

#include "Platform/Apple/VELAppleProductVersion.h"
#include "Platform/Apple/VELAppleSerialNumber.h"
#include "Platform/POSIX/VELMonotonicClock.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <utility>

namespace {

class CurrentDirectory final : public VELWorkingPlace {};

} // namespace

VELApplePlatform::VELApplePlatform(std::string root) : _files(std::move(root)) {}

VELTimePoint VELApplePlatform::ticks() const {
    return vel::monotonicNow();
}

std::optional<std::string> VELApplePlatform::productVersion() const {
    return vel::appleProductVersion(_files);
}

std::optional<std::string> VELApplePlatform::serialNumber() const {
    return vel::appleSerialNumber();
}

const VELPreferences& VELApplePlatform::preferences() const {
    return _preferences;
}

const VELFiles& VELApplePlatform::files() const {
    return _files;
}

const VELDiskArbitration& VELApplePlatform::diskArbitration() const {
    return _disks;
}

const VELKeychain& VELApplePlatform::keychain() const {
    return _keychain;
}

const VELCertificates& VELApplePlatform::certificates() const {
    return _certificates;
}

std::shared_ptr<const VELWorkingPlace> VELApplePlatform::openWorkingPlace() const {
    return std::make_shared<const CurrentDirectory>();
}

std::shared_ptr<VELTask>
VELApplePlatform::task(std::string_view tool, std::vector<std::string> arguments,
                       std::shared_ptr<const VELWorkingPlace> /*place*/) const {
    return std::make_shared<VELPOSIXTask>(std::string(tool), std::move(arguments));
}

const VELWorkQueue& VELApplePlatform::workQueue() const {
    return _workQueue;
}
