// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
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

private:
    VELSimulatedPlatform _platform;
};

class LinuxMachine {
public:
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

private:
    TemporaryFolder _root;
    VELLinuxPlatform _platform{
        VELLinuxProductVersion(_root.path()),
        VELLinuxSerialNumber(_root.path(), [] { return std::optional<std::string>(); }),
        VELLinuxPreferences(_root.path(), [this] { return std::optional(_root.path() + "/user"); }),
        VELPOSIXFiles(_root.path()), VELLinuxDisks({.root = _root.path()})};
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
