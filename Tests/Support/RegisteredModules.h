// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Platform/Linux/VELLinuxKeychain.h"
#include "Tests/Support/TemporaryFolder.h"

#include <functional>
#include <string>

/// The PKCS#11 modules that a user registers for p11-kit, and none of the machine's, as long as
/// this is in scope. Root has no settings of its own beside the machine's: the keychain is asked as
/// a user without root's rights.
class RegisteredModules {
public:
    RegisteredModules();
    ~RegisteredModules();
    RegisteredModules(const RegisteredModules&) = delete;
    RegisteredModules& operator=(const RegisteredModules&) = delete;

    /// Registers a module, or registers it anew, with the lines of a module file.
    void registerModule(const std::string& name, const std::string& lines) const;

    /// What the question makes of the keychain.
    [[nodiscard]] std::string
    answer(const std::function<std::string(const VELLinuxKeychain&)>& question) const;

    /// A module that fails when it is initialised, where everybody gets at it.
    [[nodiscard]] std::string faultyModule() const;

    /// A folder that everybody may look into.
    [[nodiscard]] const TemporaryFolder& folder() const { return _folder; }

private:
    [[nodiscard]] std::string helper() const;

    TemporaryFolder _folder;
    TemporaryFolder _programs; // that everybody may run, and nobody else change
};

/// Gives everybody what root has made at `path`.
void giveToEverybody(const std::string& path);
