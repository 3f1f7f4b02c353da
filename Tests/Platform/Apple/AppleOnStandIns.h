// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Apple/VELApplePlatform.h"
#include "Tests/Platform/Apple/StandIns/StandInMac.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/TemporaryFolder.h"

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

/// The Mac's platform over the stand-ins for its services, which answer what a described Mac says.
/// Its files are below a folder of its own.
class AppleOnStandIns {
public:
    explicit AppleOnStandIns(
        std::shared_ptr<VELSimulatedPlatform> described = std::make_shared<VELSimulatedPlatform>())
        : mac(std::move(described)) {}

    StandInMac mac;

    [[nodiscard]] const VELApplePlatform& platform() const { return _platform; }

    void setProductVersion(const std::string& version) const {
        setFile("/System/Library/CoreServices/SystemVersion.plist",
                propertyListXML({{"ProductVersion", version}}));
    }
    void setFile(const std::string& path, const std::string& bytes) const {
        _root.write(path.substr(1), bytes);
    }
    void setUnreadableFile(const std::string& path) const {
        std::filesystem::create_directories(_root.path() + path);
    }

    /// Writes the files of the described Mac.
    void writeFiles() const {
        if (mac.described.productVersionRecord) {
            setProductVersion(*mac.described.productVersionRecord);
        }
        for (const auto& [path, bytes] : mac.described.fileStore.contents) {
            bytes ? setFile(path, *bytes) : setUnreadableFile(path);
        }
    }

private:
    TemporaryFolder _root;
    VELApplePlatform _platform{_root.path()};
};
