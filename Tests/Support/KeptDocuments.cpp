// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/KeptDocuments.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "vel_device_trust/VELPostureCheckRunner.h"

#include <nlohmann/json.hpp>
#include <openssl/evp.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string digest(std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned length = 0;
    if (EVP_Digest(text.data(), text.size(), bytes.data(), &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("no SHA-256");
    }
    std::string hexadecimal;
    for (unsigned index = 0; index < length; ++index) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", bytes.at(index));
        hexadecimal += digits.data();
    }
    return hexadecimal;
}

/// A file that appears whole or not at all, whatever other tests run at the same time.
void writeWhole(const fs::path& path, std::string_view text) {
    std::string temporary = path.parent_path() / "unfinished.XXXXXX";
    const int descriptor = ::mkstemp(temporary.data());
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), temporary);
    }
    ::close(descriptor);
    std::ofstream file(temporary, std::ios::binary);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + temporary);
    }
    fs::rename(temporary, path);
}

void keep(const char* kind, std::string_view text) {
    const char* folder = std::getenv(keptDocumentsVariable);
    if (folder == nullptr) {
        return;
    }
    const fs::path path = fs::path(folder) / (std::string(kind) + "-" + digest(text) + ".json");
    if (!fs::exists(path)) {
        fs::create_directories(folder);
        writeWhole(path, text);
    }
}

} // namespace

void keepResult(std::string_view text) {
    keep("result", text);
}

void keepMachineDescription(std::string_view text) {
    keep("machine-description", text);
}

// The linker puts the functions named __wrap_... in the place of those of the library wherever a
// test calls them, and the library's own in the place of __real_... (Tests/CMakeLists.txt). A name
// that no longer fits fails to link.

#define RUN_STRING                                                                                 \
    "_ZNK21VELPostureCheckRunner33runPostureCheckFromDocumentStringB5cxx11ESt17basic_string_view"  \
    "IcSt11char_traitsIcEE"
std::string realRunString(const VELPostureCheckRunner* runner,
                          std::string_view document) asm("__real_" RUN_STRING);
std::string wrappedRunString(const VELPostureCheckRunner* runner,
                             std::string_view document) asm("__wrap_" RUN_STRING);
std::string wrappedRunString(const VELPostureCheckRunner* runner, std::string_view document) {
    std::string result = realRunString(runner, document);
    keepResult(result);
    return result;
}

using Bytes = std::vector<std::uint8_t>;

void keepResult(const Bytes& bytes) {
    keepResult({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

#define RUN_BYTES                                                                                  \
    "_ZNK21VELPostureCheckRunner27runPostureCheckFromDocumentESt4spanIKhLm18446744073709551615EE"
Bytes realRunBytes(const VELPostureCheckRunner* runner,
                   std::span<const std::uint8_t> document) asm("__real_" RUN_BYTES);
Bytes wrappedRunBytes(const VELPostureCheckRunner* runner,
                      std::span<const std::uint8_t> document) asm("__wrap_" RUN_BYTES);
Bytes wrappedRunBytes(const VELPostureCheckRunner* runner, std::span<const std::uint8_t> document) {
    Bytes result = realRunBytes(runner, document);
    keepResult(result);
    return result;
}

#define ERROR_RESULT                                                                               \
    "_ZNK21VELPostureCheckRunner11errorResultESt17basic_string_viewIcSt11char_traitsIcEE"
Bytes realErrorResult(const VELPostureCheckRunner* runner,
                      std::string_view message) asm("__real_" ERROR_RESULT);
Bytes wrappedErrorResult(const VELPostureCheckRunner* runner,
                         std::string_view message) asm("__wrap_" ERROR_RESULT);
Bytes wrappedErrorResult(const VELPostureCheckRunner* runner, std::string_view message) {
    Bytes result = realErrorResult(runner, message);
    keepResult(result);
    return result;
}

#define MACHINE_FROM_DESCRIPTION                                                                   \
    "_ZN3vel22machineFromDescriptionESt17basic_string_viewIcSt11char_traitsIcEEPNSt7__cxx1112"     \
    "basic_stringIcS2_SaIcEEE"
std::shared_ptr<VELSimulatedPlatform>
realMachine(std::string_view text, std::string* error) asm("__real_" MACHINE_FROM_DESCRIPTION);
std::shared_ptr<VELSimulatedPlatform>
wrappedMachine(std::string_view text, std::string* error) asm("__wrap_" MACHINE_FROM_DESCRIPTION);
std::shared_ptr<VELSimulatedPlatform> wrappedMachine(std::string_view text, std::string* error) {
    auto machine = realMachine(text, error);
    if (machine != nullptr) {
        keepMachineDescription(text);
    }
    return machine;
}
