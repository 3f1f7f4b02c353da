// SPDX-License-Identifier: Apache-2.0
#include "Platform/Apple/VELAppleDisks.h"

#include "Base/VELText.h"
#include "Platform/Apple/VELAppleMountTable.h"
#include "Platform/Apple/VELCFValue.h"
#include "Platform/Apple/VELIOObject.h"

#include <DiskArbitration/DiskArbitration.h>
#include <nlohmann/json.hpp>

#include <new>
#include <utility>

namespace {

std::shared_ptr<const VELValue> valueUnder(CFStringRef key, CFDictionaryRef description) {
    auto value = vel::valueOfObject(::CFDictionaryGetValue(description, key));
    return value ? std::make_shared<const VELValue>(*std::move(value)) : nullptr;
}

class Media final : public VELDiskMedia {
public:
    explicit Media(VELIOObject media) : _media(std::move(media)) {}

    [[nodiscard]] std::optional<VELValue> property(std::string_view name) const override {
        const auto key = vel::stringOfText(name);
        if (!key && !vel::isValidUTF8(name)) {
            return std::nullopt;
        }
        if (!key) {
            throw std::bad_alloc(); // absent would leave the volume out of scope
        }
        const auto value = VELCFReference<CFTypeRef>::adopt(
            ::IORegistryEntryCreateCFProperty(_media.get(), key.get(), kCFAllocatorDefault, 0));
        return vel::valueOfObject(value.get());
    }

private:
    VELIOObject _media;
};

class Disk final : public VELDisk {
public:
    explicit Disk(VELCFReference<DADiskRef> disk) : _disk(std::move(disk)) {}

    [[nodiscard]] std::optional<VELDiskDescription> copyDescription() const override {
        const auto description =
            VELCFReference<CFDictionaryRef>::adopt(::DADiskCopyDescription(_disk.get()));
        if (!description) {
            return std::nullopt;
        }
        return VELDiskDescription{
            valueUnder(kDADiskDescriptionDeviceInternalKey, description.get()),
            valueUnder(kDADiskDescriptionDeviceProtocolKey, description.get()),
            valueUnder(kDADiskDescriptionVolumeKindKey, description.get())};
    }

    [[nodiscard]] std::unique_ptr<VELDiskMedia> copyMedia() const override {
        VELIOObject media(::DADiskCopyIOMedia(_disk.get()));
        return media ? std::make_unique<Media>(std::move(media)) : nullptr;
    }

private:
    VELCFReference<DADiskRef> _disk;
};

class Session final : public VELDiskSession {
public:
    explicit Session(VELCFReference<DASessionRef> session) : _session(std::move(session)) {}

    [[nodiscard]] std::unique_ptr<VELDisk>
    diskAtMountPoint(const std::string& mountPoint) const override {
        if (mountPoint.empty()) {
            return nullptr;
        }
        const auto url = VELCFReference<CFURLRef>::adopt(::CFURLCreateFromFileSystemRepresentation(
            kCFAllocatorDefault, reinterpret_cast<const UInt8*>(mountPoint.data()),
            static_cast<CFIndex>(mountPoint.size()), true));
        if (!url) {
            throw std::bad_alloc(); // none would skip the volume
        }
        auto disk = VELCFReference<DADiskRef>::adopt(
            ::DADiskCreateFromVolumePath(kCFAllocatorDefault, _session.get(), url.get()));
        return disk ? std::make_unique<Disk>(std::move(disk)) : nullptr;
    }

private:
    VELCFReference<DASessionRef> _session;
};

} // namespace

std::unique_ptr<VELDiskSession> VELAppleDisks::createSession() const {
    auto session = VELCFReference<DASessionRef>::adopt(::DASessionCreate(kCFAllocatorDefault));
    return session ? std::make_unique<Session>(std::move(session)) : nullptr;
}

std::optional<std::vector<VELMount>> VELAppleDisks::mountTable() const {
    return vel::appleMountTable();
}
