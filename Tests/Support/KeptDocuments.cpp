// SPDX-License-Identifier: Apache-2.0
#include "Tests/Support/KeptDocuments.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <system_error>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

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
    const fs::path path =
        fs::path(folder) / (std::string(kind) + "-" + std::to_string(text.size()) + "-" +
                            std::to_string(std::hash<std::string_view>()(text)) + ".json");
    if (!fs::exists(path)) {
        fs::create_directories(folder);
        writeWhole(path, text);
    }
}

} // namespace

std::string keepResult(std::string text) {
    keep("result", text);
    return text;
}

void keepDocument(const char* kind, std::string_view text) {
    keep(kind, text);
}

void keepMachineDescription(std::string_view text) {
    keep("machine-description", text);
}
