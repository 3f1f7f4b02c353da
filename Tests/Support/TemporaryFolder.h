// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

/// A folder of the test's own, removed with all that is in it. Every user may look into it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = std::filesystem::temp_directory_path() / "vel_tests.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        _path = pattern;
        std::filesystem::permissions(_path, std::filesystem::perms(0755));
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] std::string path() const { return _path; }

    /// The absolute path of `relative` in the folder, the folders above it made.
    [[nodiscard]] std::string place(std::string_view relative) const {
        const std::filesystem::path path = _path / relative;
        std::filesystem::create_directories(path.parent_path());
        return path;
    }

    /// Writes a file, the folders above it made.
    std::string write(std::string_view relative, std::string_view bytes) const {
        std::string path = place(relative);
        std::ofstream file(path, std::ios::binary);
        file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush()) {
            throw std::runtime_error("cannot write " + path);
        }
        return path;
    }

private:
    std::filesystem::path _path;
};
