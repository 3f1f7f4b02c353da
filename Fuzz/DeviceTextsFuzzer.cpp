// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Fuzz/FuzzInput.h"
#include "Platform/Linux/VELLinuxBlockDevices.h"
#include "Platform/Linux/VELLinuxVolume.h"

#include <cstddef>
#include <cstdint>

/// The input's lines are the texts of one device: path, removable, card type, device-mapper uuid,
/// file system type, mount point, partition type, and then transports.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto lines = vel::split(fuzzText(data, size), '\n');
    const auto line = [&lines](std::size_t index) {
        return std::string(index < lines.size() ? lines[index] : std::string_view());
    };
    VELLinuxDiskTexts texts{line(0), line(1), line(2), {}};
    for (std::size_t index = 7; index < lines.size(); ++index) {
        texts.transports.emplace_back(lines[index]);
    }
    const VELLinuxBus bus = vel::busOfDisk(texts);
    // What is external is on a bus that is known, or can be taken out.
    require(bus.internal || bus.protocol || texts.removable == "1");
    require(bus.internal || bus.protocol != "PCI");

    const std::string uuid = line(3);
    require(!vel::isEncryptingMapping(uuid) || !vel::isVerityMapping(uuid));

    VELLinuxVolume volume;
    volume.mount.fileSystemType = line(4);
    volume.mount.mountPoint = line(5);
    volume.partitionType = line(6);
    // Nothing that the kernel does not call NTFS itself is taken for it without udev's word.
    const bool isNTFS = vel::volumeKind(volume) == "ntfs";
    require(isNTFS == (line(4) == "ntfs3" || line(4) == "ntfs"));
    static_cast<void>(vel::isDataVolume(volume));
    static_cast<void>(vel::hasNoDisk(line(4)));
    return 0;
}
