// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/MadeTokens.h"

#include "Tests/Support/Oracle.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace {

/// In memory where the machine has such a place: every object is synchronised to the disk, which
/// takes its time.
std::string newStore() {
    const bool hasMemory = std::filesystem::is_directory("/dev/shm");
    const std::filesystem::path parent =
        hasMemory ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path();
    std::string path = parent / "vel_tests.XXXXXX";
    if (::mkdtemp(path.data()) == nullptr) {
        throw std::runtime_error("no folder for tokens");
    }
    return path;
}

} // namespace

const std::string& MadeTokens::module() {
    static const std::string path = "/usr/lib/softhsm/libsofthsm2.so";
    return path;
}

MadeTokens::MadeTokens() {
    if (!std::filesystem::exists(module())) {
        throw std::runtime_error("this test needs the package softhsm2");
    }
    _store = newStore();
    const std::string settings =
        _folder.write("softhsm2.conf", "directories.tokendir = " + _store +
                                           "\nobjectstore.backend = file\nlog.level = ERROR\n");
    ::setenv("SOFTHSM2_CONF", settings.c_str(), 1);
}

MadeTokens::~MadeTokens() {
    ::unsetenv("SOFTHSM2_CONF");
    std::error_code ignored;
    std::filesystem::remove_all(_store, ignored);
}

void MadeTokens::make(const std::string& lines) const {
    const std::string orders = _folder.write("orders", lines);
    const OracleAnswer answer =
        askOracle(std::string(VEL_TOKEN_MAKER) + " " + module() + " < " + orders + " 2>&1");
    if (answer.status != 0) {
        throw std::runtime_error(answer.output);
    }
}

std::string MadeTokens::certificateLine(const std::string& identifier, const std::string& der) {
    const std::string file = _folder.write("der" + std::to_string(++_files), der);
    return "certificate " + identifier + " " + file + "\n";
}

VELLinuxKeychain keychainOfModule(const std::string& path, VELX509Trust::Clock clock,
                                  const std::string& seconds) {
    return {{.path = keychainHelperPath(), .arguments = {"--module", path, "--seconds", seconds}},
            std::move(clock)};
}

std::string keychainHelperPath() {
    return std::string(VEL_LINUX_TOOLS_DIRECTORY) + "/keychain-contents";
}
