// SPDX-License-Identifier: Apache-2.0
//
// The disks of the described Mac.
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Platform/Apple/StandIns/StandInPorts.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"

#include <DiskArbitration/DiskArbitration.h>

#include <array>
#include <utility>
#include <vector>

namespace {

using standin::contentOf;
using standin::FallibleCall;

class Session final : public standin::Object {
public:
    static constexpr char name[] = "DASession";
    [[nodiscard]] const char* type() const override { return name; }
};

/// Retains its session.
class Disk final : public standin::Object {
public:
    static constexpr char name[] = "DADisk";
    Disk(CFTypeRef session, VELSimulatedDisk described)
        : disk(std::move(described)), _session(CFRetain(session)) {}
    ~Disk() override { CFRelease(_session); }
    [[nodiscard]] const char* type() const override { return name; }

    const VELSimulatedDisk disk;

private:
    CFTypeRef _session;
};

/// Of two file systems mounted over one another the upper one is found.
const VELSimulatedDisk* diskMountedAt(const std::string& path) {
    const auto& mounts = StandInMac::current().described.disks.mounts;
    const VELSimulatedDisk* disk = nullptr;
    if (mounts) {
        for (const VELSimulatedMount& mount : *mounts) {
            if (mount.mountPoint == path) {
                disk = mount.disk ? &*mount.disk : nullptr;
            }
        }
    }
    return disk;
}

} // namespace

extern "C" {

const CFStringRef kDADiskDescriptionDeviceInternalKey = CFSTR("DADeviceInternal");
const CFStringRef kDADiskDescriptionDeviceProtocolKey = CFSTR("DADeviceProtocol");
const CFStringRef kDADiskDescriptionVolumeKindKey = CFSTR("DAVolumeKind");

CFTypeID DASessionGetTypeID() {
    return standin::typeID<Session>();
}

CFTypeID DADiskGetTypeID() {
    return standin::typeID<Disk>();
}

DASessionRef DASessionCreate(CFAllocatorRef /*allocator*/) {
    const FallibleCall call("DASessionCreate");
    const bool isReached = StandInMac::current().described.disks.sessionAvailable;
    return call.fails() || !isReached ? nullptr : standin::makeReference<DASessionRef, Session>();
}

DADiskRef DADiskCreateFromVolumePath(CFAllocatorRef /*allocator*/, DASessionRef session,
                                     CFURLRef path) {
    const FallibleCall call("DADiskCreateFromVolumePath");
    contentOf<Session>(session);
    std::array<UInt8, 1024> bytes = {};
    const bool isPath = CFURLGetFileSystemRepresentation(path, true, bytes.data(), bytes.size());
    const VELSimulatedDisk* disk =
        isPath ? diskMountedAt(reinterpret_cast<const char*>(bytes.data())) : nullptr;
    return call.fails() || disk == nullptr
               ? nullptr
               : standin::makeReference<DADiskRef, Disk>(session, *disk);
}

CFDictionaryRef DADiskCopyDescription(DADiskRef disk) {
    const FallibleCall call("DADiskCopyDescription");
    const auto& description = contentOf<Disk>(disk).disk.description;
    if (call.fails() || !description) {
        return nullptr;
    }
    const std::pair<CFStringRef, const std::shared_ptr<const VELValue>&> entries[] = {
        {kDADiskDescriptionDeviceInternalKey, description->deviceInternal},
        {kDADiskDescriptionDeviceProtocolKey, description->deviceProtocol},
        {kDADiskDescriptionVolumeKindKey, description->volumeKind},
    };
    const CFMutableDictionaryRef copy = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const auto& [key, value] : entries) {
        if (value != nullptr) {
            const CFTypeRef object = standin::copyValue(*value);
            CFDictionarySetValue(copy, key, object);
            CFRelease(object);
        }
    }
    return copy;
}

io_service_t DADiskCopyIOMedia(DADiskRef disk) {
    const FallibleCall call("DADiskCopyIOMedia");
    const auto& media = contentOf<Disk>(disk).disk.media;
    if (call.fails() || !media) {
        return IO_OBJECT_NULL;
    }
    return standin::makePort([properties = *media](const std::string& name) -> CFTypeRef {
        const auto property = properties.find(name);
        return property == properties.end() ? nullptr : standin::copyValue(property->second);
    });
}

} // extern "C"
