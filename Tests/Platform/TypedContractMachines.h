// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Platform/Recording/VELRecordingTask.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Platform/Apple/AppleOnStandIns.h"
#include "Tests/Support/MadeMachine.h"
#include "Tests/Support/MadeTokens.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/TaskTool.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// Machines whose state a contract suite sets, one for each platform that runs here. They differ in
/// how the state is installed and in nothing that a suite asserts. A further platform joins every
/// suite with one more class, named in `ContractMachines`.

/// Sets the state of a described Mac.
class DescribedMachine {
public:
    void setSerialNumber(const std::string& serialNumber) const {
        _mac.hardwareSerialNumber = serialNumber;
    }
    void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                        const VELDictionary& values) const {
        auto& store = scope == VELPreferencesScope::anyUser ? _mac.preferenceStore.machine
                                                            : _mac.preferenceStore.user;
        store[applicationID].clear();
        for (const auto& [key, value] : values.items()) {
            store[applicationID][key] = value;
        }
    }

    /// Mounts a volume on an internal SATA disk, "sda", unencrypted.
    void mountPlain(const std::string& mountPoint, const std::string& type) const {
        const auto shared = [](VELValue value) {
            return std::make_shared<const VELValue>(std::move(value));
        };
        VELSimulatedDisk disk;
        disk.description = {shared(true), shared("SATA"), shared(type)};
        disk.media = {{"Sealed", "No"}, {"Role", VELValue::array({"Data"})}, {"Encrypted", false}};
        _mac.disks.mounts->push_back({type, mountPoint, disk, "sda"});
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) const {
        _mac.disks.mounts->push_back({type, mountPoint, std::nullopt});
    }
    void loseMountTable() const { _mac.disks.mounts.reset(); }

    /// When certificates are valid; in the year 2030 until this is called.
    void setDate(const char* date) const {
        _mac.keychainStore.date = vel::momentOfText(date).value();
    }
    void addCertificate(const std::string& der) const {
        _mac.keychainStore.certificateList.push_back(der);
    }
    /// Adds a certificate and its key.
    void addIdentity(const std::string& der) const {
        addCertificate(der);
        _mac.keychainStore.identityList.push_back({.certificate = der});
    }
    /// Makes every query of the keychain fail as an internal component does.
    void loseKeychain() const {
        _mac.keychainStore.certificatesStatus = VELSecurityStatus::internalComponent;
        _mac.keychainStore.identitiesStatus = VELSecurityStatus::internalComponent;
    }

protected:
    /// The Mac lives as long.
    explicit DescribedMachine(VELSimulatedPlatform& mac) : _mac(mac) {}

private:
    VELSimulatedPlatform& _mac;
};

class SimulatedMachine : public DescribedMachine {
public:
    static constexpr const char* name = "Simulated";

    SimulatedMachine() : DescribedMachine(_platform) { setDate("2030-01-01T00:00:00Z"); }

    [[nodiscard]] const VELPlatform& platform() const { return _platform; }

    void setProductVersion(const std::string& version) { _platform.productVersionRecord = version; }
    void setFile(const std::string& path, const std::string& bytes) {
        _platform.fileStore.contents[path] = bytes;
    }
    void setUnreadableFile(const std::string& path) {
        _platform.fileStore.contents[path] = std::nullopt;
    }

    /// The keychain, with what was added to it until now.
    const VELKeychain& keychain() { return _platform.keychain(); }

    /// A task for a tool that runs as `run` says (its command is chosen here).
    std::shared_ptr<VELTask> task(VELSimulatedRun run) {
        const std::string number = std::to_string(_platform.tools.size());
        run.command = {"/tool", number};
        _platform.tools.push_back(std::move(run));
        return _platform.task("/tool", {number}, nullptr);
    }
    void passTime(std::chrono::nanoseconds duration) const { _platform.advanceTime(duration); }
    /// Passes time until the tool launched last is ready to be asked to end.
    void awaitTool() const {}

private:
    VELSimulatedPlatform _platform;
};

/// Tools as real children of this process, which behave as a run says.
class ChildProcesses {
public:
    /// The arguments of the task tool.
    [[nodiscard]] std::vector<std::string> argumentsOf(const VELSimulatedRun& run) const {
        std::vector<std::string> arguments = taskToolCommand(run);
        arguments.erase(arguments.begin());
        arguments.insert(arguments.end(), {"--ready-file", readyFile()});
        return arguments;
    }
    void awaitTool() const {
        while (!std::filesystem::exists(readyFile())) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

private:
    [[nodiscard]] std::string readyFile() const { return _folder.path() + "/ready"; }

    TemporaryFolder _folder;
};

/// The Mac's platform, over stand-ins for the Mac's services.
class AppleMachine : public DescribedMachine {
public:
    static constexpr const char* name = "Apple";

    AppleMachine() : AppleMachine(std::make_unique<AppleOnStandIns>()) {
        setDate("2030-01-01T00:00:00Z");
    }
    AppleMachine(const AppleMachine&) = delete;
    AppleMachine& operator=(const AppleMachine&) = delete;
    /// Everything that the services handed out has been given back.
    ~AppleMachine() { EXPECT_EQ(StandInMac::leftAlive(), std::vector<std::string>()); }

    [[nodiscard]] const VELPlatform& platform() const { return _apple->platform(); }

    void setProductVersion(const std::string& version) { _apple->setProductVersion(version); }
    void setFile(const std::string& path, const std::string& bytes) {
        _apple->setFile(path, bytes);
    }
    void setUnreadableFile(const std::string& path) { _apple->setUnreadableFile(path); }

    const VELKeychain& keychain() { return platform().keychain(); }

    std::shared_ptr<VELTask> task(const VELSimulatedRun& run) {
        return platform().task(VEL_TASK_TOOL, _children.argumentsOf(run), nullptr);
    }
    void passTime(std::chrono::nanoseconds duration) const {
        std::this_thread::sleep_for(duration);
    }
    void awaitTool() const { _children.awaitTool(); }

private:
    explicit AppleMachine(std::unique_ptr<AppleOnStandIns> apple)
        : DescribedMachine(apple->mac.described), _apple(std::move(apple)) {}

    std::unique_ptr<AppleOnStandIns> _apple;
    ChildProcesses _children;
};

class LinuxMachine {
public:
    static constexpr const char* name = "Linux";

    explicit LinuxMachine(bool usesProcessHandle = true) : _usesProcessHandle(usesProcessHandle) {
        _volumes.disk("8:0", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
    }

    [[nodiscard]] const VELPlatform& platform() const { return *_platform; }

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
    /// Mounts a volume on an internal SATA disk, "sda", unencrypted.
    void mountPlain(const std::string& mountPoint, const std::string& type) {
        _volumes.mount("8:0", escaped(mountPoint), type, "rw", "/dev/sda");
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) {
        _volumes.mount("0:40", escaped(mountPoint), type, "rw", "server:/dev/a");
    }
    void loseMountTable() { _volumes.writeMountInfo("lost\n"); }

    /// Keys are on another token than the certificates of others.
    const VELKeychain& keychain() {
        if (!_tokensAreMade) {
            tokens().make("token certificates\n" + _certificateLines + "token identities\n" +
                          _identityLines);
            _tokensAreMade = true;
        }
        return _platform->keychain();
    }
    void setDate(const char* date) { _date = vel::momentOfText(date).value(); }
    void addCertificate(const std::string& der) {
        _certificateLines += tokens().certificateLine(nextIdentifier(), der);
    }
    void addIdentity(const std::string& der) {
        const std::string identifier = nextIdentifier();
        _identityLines += tokens().certificateLine(identifier, der) + "private-key " + identifier +
                          " hidden\npublic-key " + identifier + "\n";
    }
    void loseKeychain() { _platform = madePlatform(VEL_FAULTY_MODULE); }

    std::shared_ptr<VELTask> task(const VELSimulatedRun& run) {
        if (_usesProcessHandle) {
            return _platform->task(VEL_TASK_TOOL, _children.argumentsOf(run), nullptr);
        }
        VELPOSIXTask::Options options;
        options.usesProcessHandle = false;
        return std::make_shared<VELPOSIXTask>(VEL_TASK_TOOL, _children.argumentsOf(run), options);
    }
    void passTime(std::chrono::nanoseconds duration) const {
        std::this_thread::sleep_for(duration);
    }
    void awaitTool() const { _children.awaitTool(); }

private:
    static std::string escaped(std::string mountPoint) {
        for (std::size_t space = 0; (space = mountPoint.find(' ')) != std::string::npos;) {
            mountPoint.replace(space, 1, "\\040");
        }
        return mountPoint;
    }

    /// In the order of the alphabet, as the tokens answer.
    std::string nextIdentifier() { return "id" + std::to_string(++_identifiers); }

    /// Made when a suite first wants tokens.
    MadeTokens& tokens() {
        if (_tokens == nullptr) {
            _tokens = std::make_unique<MadeTokens>();
        }
        return *_tokens;
    }

    /// A platform whose keychain is that of one PKCS#11 module.
    std::unique_ptr<const VELPlatform> madePlatform(const std::string& module) {
        const auto clock = [this] { return _date; };
        return std::make_unique<const VELLinuxPlatform>(
            VELLinuxProductVersion(_root.path()),
            VELLinuxSerialNumber(_root.path(), [] { return std::optional<std::string>(); }),
            VELLinuxPreferences(_root.path(),
                                [this] { return std::optional(_root.path() + "/user"); }),
            VELPOSIXFiles(_root.path()),
            VELLinuxDisks(
                {.root = _volumes.root(),
                 .udevProperty = [](unsigned, unsigned, const char*) { return std::nullopt; }}),
            keychainOfModule(module, clock), VELX509Certificates(clock));
    }

    const bool _usesProcessHandle;
    ChildProcesses _children;
    MadeMachine _volumes;
    TemporaryFolder _root;
    std::unique_ptr<MadeTokens> _tokens;
    std::string _certificateLines;
    std::string _identityLines;
    int _identifiers = 100;
    bool _tokensAreMade = false;
    VELMoment _date = vel::momentOfText("2030-01-01T00:00:00Z").value();
    std::unique_ptr<const VELPlatform> _platform = madePlatform(MadeTokens::module());
};

/// The same on a system that has no handles for processes.
class LinuxMachineWithoutProcessHandles : public LinuxMachine {
public:
    static constexpr const char* name = "LinuxWithoutProcessHandles";

    LinuxMachineWithoutProcessHandles() : LinuxMachine(false) {}
};

/// A machine whose platform is recorded: it behaves as that machine.
template <typename Machine> class RecordedMachine : public Machine {
public:
    [[nodiscard]] const VELPlatform& platform() const {
        const VELPlatform* own = &Machine::platform();
        if (own != _own) {
            _own = own;
            _platform = std::make_unique<const VELRecordingPlatform>(shared(own), _recording);
        }
        return *_platform;
    }
    const VELKeychain& keychain() {
        static_cast<void>(Machine::keychain());
        return platform().keychain();
    }
    std::shared_ptr<VELTask> task(const VELSimulatedRun& run) {
        return std::make_shared<VELRecordingTask>(
            VELRecorder(shared(&Machine::platform()), _recording), run.command, nullptr,
            Machine::task(run));
    }

private:
    /// The machine owns it.
    static std::shared_ptr<const VELPlatform> shared(const VELPlatform* platform) {
        return {std::shared_ptr<const VELPlatform>(), platform};
    }

    std::shared_ptr<VELRecording> _recording = std::make_shared<VELRecording>();
    mutable const VELPlatform* _own = nullptr;
    mutable std::unique_ptr<const VELPlatform> _platform;
};

using ContractMachines =
    ::testing::Types<SimulatedMachine, LinuxMachine, AppleMachine,
                     RecordedMachine<SimulatedMachine>, RecordedMachine<LinuxMachine>,
                     RecordedMachine<AppleMachine>>;
/// For the suites of tasks.
using TaskContractMachines =
    ::testing::Types<SimulatedMachine, LinuxMachine, LinuxMachineWithoutProcessHandles,
                     AppleMachine, RecordedMachine<SimulatedMachine>, RecordedMachine<LinuxMachine>,
                     RecordedMachine<AppleMachine>>;

template <typename Machine> inline constexpr bool isRecorded = false;
template <typename Machine> inline constexpr bool isRecorded<RecordedMachine<Machine>> = true;

class ContractMachineNames {
public:
    template <typename Machine> static std::string GetName(int /*index*/) {
        return (isRecorded<Machine> ? std::string("Recorded") : "") + Machine::name;
    }
};

template <typename Machine> class PlatformContract : public ::testing::Test {
protected:
    Machine machine;
};
