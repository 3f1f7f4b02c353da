// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxVolumeSources.h"

#include "Base/VELText.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <libudev.h>
#include <linux/btrfs.h>
#include <memory>
#include <span>
#include <string>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace vel {
namespace {

std::string uuidText(std::span<const __u8> bytes) {
    std::string text;
    for (const __u8 byte : bytes) {
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23) {
            text += '-';
        }
        appendHexadecimal(byte, text);
    }
    return text;
}

/// Whether an open folder is seen through this mount. False, too, if the kernel does not say
/// (before Linux 5.8).
bool belongsToMount(const VELDescriptor& folder, unsigned mountID) {
    struct statx status {};
    return ::statx(folder.get(), "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 &&
           (status.stx_mask & STATX_MNT_ID) != 0 && status.stx_mnt_id == mountID;
}

/// The part of libudev that is used. Loaded when it is first needed, not with every process; it
/// stays.
struct Udev {
    decltype(&::udev_new) create = nullptr;
    decltype(&::udev_unref) release = nullptr;
    decltype(&::udev_device_new_from_devnum) device = nullptr;
    decltype(&::udev_device_unref) releaseDevice = nullptr;
    decltype(&::udev_device_get_property_value) property = nullptr;

    Udev() {
        void* library = ::dlopen("libudev.so.1", RTLD_NOW | RTLD_LOCAL);
        if (library == nullptr) {
            return;
        }
        const auto find = [library](const char* name, auto& function) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                ::dlsym(library, name));
            return function != nullptr;
        };
        isWhole = find("udev_new", create) && find("udev_unref", release) &&
                  find("udev_device_new_from_devnum", device) &&
                  find("udev_device_unref", releaseDevice) &&
                  find("udev_device_get_property_value", property);
    }

    bool isWhole = false;
};

} // namespace

std::optional<VELBtrfsInformation> btrfsInformation(const std::string& mountPoint,
                                                    unsigned mountID) {
    const VELDescriptor folder(
        ::open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC));
    btrfs_ioctl_fs_info_args information{};
    if (!folder || !belongsToMount(folder, mountID) ||
        ::ioctl(folder.get(), BTRFS_IOC_FS_INFO, &information) != 0) {
        return std::nullopt;
    }
    return VELBtrfsInformation{uuidText(information.fsid), information.num_devices};
}

std::optional<std::string> udevProperty(unsigned major, unsigned minor, const char* name) {
    static const Udev udev;
    if (!udev.isWhole) {
        return std::nullopt;
    }
    const std::unique_ptr<::udev, decltype(udev.release)> context(udev.create(), udev.release);
    if (context == nullptr) {
        return std::nullopt;
    }
    const std::unique_ptr<::udev_device, decltype(udev.releaseDevice)> device(
        udev.device(context.get(), 'b', makedev(major, minor)), udev.releaseDevice);
    const char* value = device != nullptr ? udev.property(device.get(), name) : nullptr;
    return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace vel
