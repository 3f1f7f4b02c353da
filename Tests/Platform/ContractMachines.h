// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/MadeMachine.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <string>
#include <string_view>

/// Machines whose state a contract suite sets, one for each platform that runs here. They differ in
/// how the state is installed and in nothing that a suite asserts.

class SimulatedMachine {
public:
    [[nodiscard]] const VELPlatform& platform() const { return _platform; }

    void setProductVersion(const std::string& version) { _platform.productVersionRecord = version; }
    void setSerialNumber(const std::string& serialNumber) {
        _platform.hardwareSerialNumber = serialNumber;
    }
    void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                        const VELDictionary& values) {
        auto& store = scope == VELPreferencesScope::anyUser ? _platform.preferenceStore.machine
                                                            : _platform.preferenceStore.user;
        store[applicationID].clear();
        for (const auto& [key, value] : values.items()) {
            store[applicationID][key] = value;
        }
    }

    void setFile(const std::string& path, const std::string& bytes) {
        _platform.fileStore.contents[path] = bytes;
    }
    void setUnreadableFile(const std::string& path) {
        _platform.fileStore.contents[path] = std::nullopt;
    }
    /// Mounts a volume on an internal SATA disk, unencrypted.
    void mountPlain(const std::string& mountPoint, const std::string& type) {
        const auto shared = [](VELValue value) {
            return std::make_shared<const VELValue>(std::move(value));
        };
        VELSimulatedDisk disk;
        disk.description = {shared(true), shared("SATA"), shared(type)};
        disk.media = {{"Sealed", "No"}, {"Role", VELValue::array({"Data"})}, {"Encrypted", false}};
        _platform.disks.mounts->push_back({type, mountPoint, disk});
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) {
        _platform.disks.mounts->push_back({type, mountPoint, std::nullopt});
    }
    void loseMountTable() { _platform.disks.mounts.reset(); }

private:
    VELSimulatedPlatform _platform;
};

class LinuxMachine {
public:
    LinuxMachine() {
        _volumes.disk("8:0", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
    }

    [[nodiscard]] const VELPlatform& platform() const { return _platform; }

    void setProductVersion(const std::string& version) {
        _root.write("etc/os-release", "NAME=Sample\nVERSION_ID='" + version + "'\n");
    }
    void setSerialNumber(const std::string& serialNumber) {
        _root.write("sys/class/dmi/id/product_serial", serialNumber + "\n");
    }
    void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                        const VELDictionary& values) {
        const std::string folder = scope == VELPreferencesScope::anyUser ? "etc/" : "user/";
        _root.write(folder + "vel_device_trust/preferences/" + applicationID + ".plist",
                    propertyListXML(values));
    }

    void setFile(const std::string& path, const std::string& bytes) {
        _root.write(path.substr(1), bytes);
    }
    void setUnreadableFile(const std::string& path) {
        std::filesystem::create_directories(_root.path() + path);
    }
    /// Mounts a volume on an internal SATA disk, unencrypted.
    void mountPlain(const std::string& mountPoint, const std::string& type) {
        _volumes.mount("8:0", escaped(mountPoint), type);
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) {
        _volumes.mount("0:40", escaped(mountPoint), type);
    }
    void loseMountTable() { _volumes.writeMountInfo("lost\n"); }

private:
    static std::string escaped(std::string mountPoint) {
        for (std::size_t space = 0; (space = mountPoint.find(' ')) != std::string::npos;) {
            mountPoint.replace(space, 1, "\\040");
        }
        return mountPoint;
    }

    MadeMachine _volumes;
    TemporaryFolder _root;
    VELLinuxPlatform _platform{
        VELLinuxProductVersion(_root.path()),
        VELLinuxSerialNumber(_root.path(), [] { return std::optional<std::string>(); }),
        VELLinuxPreferences(_root.path(), [this] { return std::optional(_root.path() + "/user"); }),
        VELPOSIXFiles(_root.path()),
        VELLinuxDisks(
            {.root = _volumes.root(),
             .udevProperty = [](unsigned, unsigned, const char*) { return std::nullopt; }})};
};

using ContractMachines = ::testing::Types<SimulatedMachine, LinuxMachine>;

class ContractMachineNames {
public:
    template <typename Machine> static std::string GetName(int /*index*/) {
        return std::is_same_v<Machine, SimulatedMachine> ? "Simulated" : "Linux";
    }
};

template <typename Machine> class PlatformContract : public ::testing::Test {
protected:
    Machine machine;
};
