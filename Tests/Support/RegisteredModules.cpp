// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/RegisteredModules.h"

#include "Base/VELMoment.h"
#include "Tests/Support/MadeTokens.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/UnprivilegedUser.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

RegisteredModules::RegisteredModules() {
    _folder.write("settings/pkcs11/pkcs11.conf", "user-config: only\n");
    // Where they were built, another user may not get at them.
    std::filesystem::copy_file(keychainHelperPath(), helper());
    std::filesystem::copy_file(VEL_FAULTY_MODULE, faultyModule());
    giveToEverybody(_folder.path());
    for (const std::string& entry : {_programs.path(), helper()}) {
        std::filesystem::permissions(entry, std::filesystem::perms(0755));
    }
    ::setenv("XDG_CONFIG_HOME", (_folder.path() + "/settings").c_str(), 1);
}

RegisteredModules::~RegisteredModules() {
    ::unsetenv("XDG_CONFIG_HOME");
}

void RegisteredModules::registerModule(const std::string& name, const std::string& lines) const {
    _folder.write("settings/pkcs11/modules/" + name + ".module", lines);
}

std::string RegisteredModules::answer(
    const std::function<std::string(const VELLinuxKeychain&)>& question) const {
    return askedWithoutPrivileges([&] {
        const auto clock = [] { return vel::momentOfText("2030-01-01T00:00:00Z").value(); };
        return question(VELLinuxKeychain({.path = helper()}, clock));
    });
}

std::string RegisteredModules::helper() const {
    return _programs.path() + "/keychain-contents";
}

std::string RegisteredModules::faultyModule() const {
    return _folder.path() + "/faulty-module.so";
}

void giveToEverybody(const std::string& path) {
    if (askOracle("chmod -R a+rwX '" + path + "'").status != 0) {
        throw std::runtime_error("cannot give " + path + " to everybody");
    }
}
