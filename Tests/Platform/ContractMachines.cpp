// SPDX-License-Identifier: Apache-2.0
#include "Tests/Platform/ContractMachines.h"

#include "Base/VELMoment.h"
#include "Platform/Linux/VELLinuxPlatform.h"
#include "Platform/POSIX/VELPOSIXTask.h"
#include "Platform/Recording/VELRecordingPlatform.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Platform/Apple/AppleOnStandIns.h"
#include "Tests/Support/MadeMachine.h"
#include "Tests/Support/MadeTokens.h"
#include "Tests/Support/PropertyListText.h"
#include "Tests/Support/TaskTool.h"

#include <filesystem>
#include <optional>
#include <thread>
#include <utility>

namespace {

const VELMoment usualDate = vel::momentOfText("2030-01-01T00:00:00Z").value();

/// A machine whose state is that of a described Mac.
class DescribedMachine : public ContractMachine {
public:
    void setProductVersion(const std::string& version) override {
        _mac->productVersionRecord = version;
        writeFiles();
    }
    void setSerialNumber(const std::string& serialNumber) override {
        _mac->hardwareSerialNumber = serialNumber;
    }
    void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                        const VELDictionary& values) override {
        auto& store = scope == VELPreferencesScope::anyUser ? _mac->preferenceStore.machine
                                                            : _mac->preferenceStore.user;
        store[applicationID].clear();
        for (const auto& [key, value] : values.items()) {
            store[applicationID][key] = value;
        }
    }
    void setFile(const std::string& path, const std::string& bytes) override {
        _mac->fileStore.contents[path] = bytes;
        writeFiles();
    }
    void setUnreadableFile(const std::string& path) override {
        _mac->fileStore.contents[path] = std::nullopt;
        writeFiles();
    }

    void mountPlain(const std::string& mountPoint, const std::string& type) override {
        const auto shared = [](VELValue value) {
            return std::make_shared<const VELValue>(std::move(value));
        };
        VELSimulatedDisk disk;
        disk.description = {shared(true), shared("SATA"), shared(type)};
        disk.media = {{"Sealed", "No"}, {"Role", VELValue::array({"Data"})}, {"Encrypted", false}};
        _mac->disks.mounts->push_back({type, mountPoint, disk, "sda"});
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) override {
        _mac->disks.mounts->push_back({type, mountPoint, std::nullopt});
    }
    void loseMountTable() override { _mac->disks.mounts.reset(); }

    void setDate(const char* date) override {
        _mac->keychainStore.date = vel::momentOfText(date).value();
    }
    void addCertificate(const std::string& der) override {
        _mac->keychainStore.certificateList.push_back(der);
    }
    void addIdentity(const std::string& der) override {
        addCertificate(der);
        _mac->keychainStore.identityList.push_back({.certificate = der});
    }
    void loseKeychain() override {
        _mac->keychainStore.certificatesStatus = VELSecurityStatus::internalComponent;
        _mac->keychainStore.identitiesStatus = VELSecurityStatus::internalComponent;
    }

protected:
    DescribedMachine() { _mac->keychainStore.date = usualDate; }

    /// Writes the described files, where the platform reads real ones.
    virtual void writeFiles() {}

    const std::shared_ptr<VELSimulatedPlatform> _mac = std::make_shared<VELSimulatedPlatform>();
};

class SimulatedMachine : public DescribedMachine {
public:
    const VELPlatform& platform() override { return *_mac; }

    std::shared_ptr<VELTask> task(VELSimulatedRun run) override {
        const std::string number = std::to_string(_mac->tools.size());
        run.command = {"/tool", number};
        _mac->tools.push_back(std::move(run));
        return platform().task("/tool", {number}, nullptr);
    }
    void passTime(std::chrono::nanoseconds duration) override { _mac->advanceTime(duration); }
    void awaitTool() override {}
};

/// The Mac's platform, over stand-ins for the Mac's services.
class AppleMachine : public DescribedMachine {
public:
    /// Everything that the services handed out has been given back.
    ~AppleMachine() override { EXPECT_EQ(StandInMac::leftAlive(), std::vector<std::string>()); }

    const VELPlatform& platform() override { return _apple.platform(); }
    [[nodiscard]] bool asksMacServices() const override { return true; }

private:
    void writeFiles() override { _apple.writeFiles(); }

    AppleOnStandIns _apple{_mac};
};

class LinuxMachine : public ContractMachine {
public:
    LinuxMachine() {
        _volumes.disk("8:0", "pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
    }

    const VELPlatform& platform() override { return *_platform; }

    void setProductVersion(const std::string& version) override {
        _root.write("etc/os-release", "NAME=Sample\nVERSION_ID='" + version + "'\n");
    }
    void setSerialNumber(const std::string& serialNumber) override {
        _root.write("sys/class/dmi/id/product_serial", serialNumber + "\n");
    }
    void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                        const VELDictionary& values) override {
        const std::string folder = scope == VELPreferencesScope::anyUser ? "etc/" : "user/";
        _root.write(folder + "vel_device_trust/preferences/" + applicationID + ".plist",
                    propertyListXML(values));
    }
    void setFile(const std::string& path, const std::string& bytes) override {
        _root.write(path.substr(1), bytes);
    }
    void setUnreadableFile(const std::string& path) override {
        std::filesystem::create_directories(_root.path() + path);
    }

    void mountPlain(const std::string& mountPoint, const std::string& type) override {
        _volumes.mount("8:0", escaped(mountPoint), type, "rw", "/dev/sda");
    }
    void mountWithoutDisk(const std::string& mountPoint, const std::string& type) override {
        _volumes.mount("0:40", escaped(mountPoint), type, "rw", "server:/dev/a");
    }
    void loseMountTable() override { _volumes.writeMountInfo("lost\n"); }

    void setDate(const char* date) override { _date = vel::momentOfText(date).value(); }
    void addCertificate(const std::string& der) override {
        _certificateLines += tokens().certificateLine(nextIdentifier(), der);
    }
    void addIdentity(const std::string& der) override {
        const std::string identifier = nextIdentifier();
        _identityLines += tokens().certificateLine(identifier, der) + "private-key " + identifier +
                          " hidden\npublic-key " + identifier + "\n";
    }
    void loseKeychain() override { _platform = madePlatform(VEL_FAULTY_MODULE); }
    /// Keys are on another token than the certificates of others.
    const VELKeychain& keychain() override {
        if (!_tokensAreMade) {
            tokens().make("token certificates\n" + _certificateLines + "token identities\n" +
                          _identityLines);
            _tokensAreMade = true;
        }
        return ContractMachine::keychain();
    }

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

    MadeMachine _volumes;
    TemporaryFolder _root;
    std::unique_ptr<MadeTokens> _tokens;
    std::string _certificateLines;
    std::string _identityLines;
    int _identifiers = 100;
    bool _tokensAreMade = false;
    VELMoment _date = usualDate;
    std::unique_ptr<const VELPlatform> _platform = madePlatform(MadeTokens::module());
};

/// The same as on a system that has no handles for processes.
class LinuxMachineWithoutProcessHandles final : public LinuxMachine {
public:
    std::shared_ptr<VELTask> task(VELSimulatedRun run) override {
        return std::make_shared<VELPOSIXTask>(VEL_TASK_TOOL, argumentsOf(run),
                                              VELPOSIXTask::Options{.usesProcessHandle = false});
    }
};

/// A machine whose platform is recorded: it behaves as that machine.
template <typename Machine> class RecordedMachine final : public Machine {
public:
    const VELPlatform& platform() override {
        const VELPlatform& own = Machine::platform();
        if (&own != _own.get()) {
            _own = {std::shared_ptr<const VELPlatform>(), &own}; // the machine owns it
            _platform = std::make_unique<const VELRecordingPlatform>(
                _own, std::make_shared<VELRecording>());
        }
        return *_platform;
    }

private:
    std::shared_ptr<const VELPlatform> _own;
    std::unique_ptr<const VELPlatform> _platform;
};

template <typename Machine> std::unique_ptr<ContractMachine> make() {
    return std::make_unique<Machine>();
}

} // namespace

std::shared_ptr<VELTask> ContractMachine::task(VELSimulatedRun run) {
    return platform().task(VEL_TASK_TOOL, argumentsOf(run), nullptr);
}

void ContractMachine::passTime(std::chrono::nanoseconds duration) {
    std::this_thread::sleep_for(duration);
}

void ContractMachine::awaitTool() {
    while (!std::filesystem::exists(readyFile())) {
        passTime(std::chrono::milliseconds(10));
    }
}

std::vector<std::string> ContractMachine::argumentsOf(const VELSimulatedRun& run) const {
    std::vector<std::string> arguments = taskToolCommand(run);
    arguments.erase(arguments.begin());
    arguments.insert(arguments.end(), {"--ready-file", readyFile()});
    return arguments;
}

std::vector<ContractMachineKind> allMachines() {
    return {{"Simulated", make<SimulatedMachine>},
            {"Linux", make<LinuxMachine>},
            {"Apple", make<AppleMachine>},
            {"RecordedSimulated", make<RecordedMachine<SimulatedMachine>>},
            {"RecordedLinux", make<RecordedMachine<LinuxMachine>>},
            {"RecordedApple", make<RecordedMachine<AppleMachine>>}};
}

std::vector<ContractMachineKind> machinesForTasks() {
    std::vector<ContractMachineKind> machines = allMachines();
    machines.push_back({"LinuxWithoutProcessHandles", make<LinuxMachineWithoutProcessHandles>});
    return machines;
}
