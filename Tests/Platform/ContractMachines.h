// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Simulated/VELSimulatedTask.h"
#include "Platform/VELPlatform.h"
#include "Tests/Support/TemporaryFolder.h"

#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

/// A machine whose state a contract suite sets, one for each platform that runs here. They differ
/// in how the state is installed and in nothing that a suite asserts, except for a few answers of
/// the Mac's own services. A further platform joins every suite with one more class, named in
/// `allMachines`.
class ContractMachine {
public:
    virtual ~ContractMachine() = default;

    /// The platform that a suite asks; another one after `loseKeychain`.
    virtual const VELPlatform& platform() = 0;

    /// Whether the Mac's own services answer. Suites say where their answers differ.
    [[nodiscard]] virtual bool asksMacServices() const { return false; }

    virtual void setProductVersion(const std::string& version) = 0;
    virtual void setSerialNumber(const std::string& serialNumber) = 0;
    virtual void setPreferences(VELPreferencesScope scope, const std::string& applicationID,
                                const VELDictionary& values) = 0;
    virtual void setFile(const std::string& path, const std::string& bytes) = 0;
    virtual void setUnreadableFile(const std::string& path) = 0;

    /// Mounts a volume on an internal SATA disk, "sda", unencrypted.
    virtual void mountPlain(const std::string& mountPoint, const std::string& type) = 0;
    virtual void mountWithoutDisk(const std::string& mountPoint, const std::string& type) = 0;
    virtual void loseMountTable() = 0;

    /// When certificates are valid; in the year 2030 until this is called.
    virtual void setDate(const char* date) = 0;
    virtual void addCertificate(const std::string& der) = 0;
    /// Adds a certificate and its key.
    virtual void addIdentity(const std::string& der) = 0;
    /// Makes every query of the keychain fail as an internal component does.
    virtual void loseKeychain() = 0;
    /// The keychain, with what was added to it until now.
    virtual const VELKeychain& keychain() { return platform().keychain(); }

    /// A task for a tool that runs as `run` says (its command is chosen here): a real child of this
    /// process, in real time, unless the machine simulates both.
    virtual std::shared_ptr<VELTask> task(VELSimulatedRun run);
    virtual void passTime(std::chrono::nanoseconds duration);
    /// Passes time until the tool launched last is ready to be asked to end.
    virtual void awaitTool();

protected:
    /// The arguments of the task tool for a real child.
    [[nodiscard]] std::vector<std::string> argumentsOf(const VELSimulatedRun& run) const;

private:
    [[nodiscard]] std::string readyFile() const { return _folder.path() + "/ready"; }

    TemporaryFolder _folder;
};

/// The name of a machine, and how to make one.
struct ContractMachineKind {
    std::string name;
    std::unique_ptr<ContractMachine> (*make)();

    friend void PrintTo(const ContractMachineKind& kind, std::ostream* stream) {
        *stream << kind.name;
    }
};

/// The machines of every suite.
std::vector<ContractMachineKind> allMachines();

/// Those of suites of tasks: also Linux as on a system that has no handles for processes.
std::vector<ContractMachineKind> machinesForTasks();

/// Names the tests of a suite: "FilesContract.AFileIsItsBytes/Linux".
inline const auto machineName = testing::PrintToStringParamName();

/// A suite that asserts the same of each machine.
class ContractTest : public testing::TestWithParam<ContractMachineKind> {
protected:
    const std::unique_ptr<ContractMachine> machine = GetParam().make();
};
