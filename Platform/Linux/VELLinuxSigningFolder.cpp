// SPDX-License-Identifier: Apache-2.0
#include "Platform/Linux/VELLinuxSigningFolder.h"
#include "Platform/Linux/VELLinuxToolPaths.h"
#include "Platform/POSIX/VELPOSIXTask.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>
#include <unistd.h>
#include <utility>

namespace vel {
namespace {

constexpr const char* firstCertificateFile = "/codesign0";

/// What the last signature helper of this thread found.
thread_local std::optional<std::string> handedOn;

std::optional<std::string> readCertificateFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::nullopt;
    }
    std::string content{std::istreambuf_iterator<char>(file), {}};
    return file.bad() ? std::nullopt : std::optional(std::move(content));
}

class SigningTask final : public VELTask {
public:
    SigningTask(SigningStep step, std::string launchPath, std::vector<std::string> arguments,
                const std::vector<std::string>& places)
        : _step(step), _folder(PrivateFolder::make(places)),
          _task(std::move(launchPath), std::move(arguments),
                {.workingDirectory = _folder ? _folder->path() : std::string()}) {
        const auto certificate = std::exchange(handedOn, std::nullopt);
        if (_step == SigningStep::subject && _folder && certificate) {
            std::ofstream(_folder->path() + firstCertificateFile, std::ios::binary) << *certificate;
        }
    }

    [[nodiscard]] const std::string& launchPath() const override { return _task.launchPath(); }

    void launch() override {
        if (!_folder) {
            throw VELTaskLaunchFailure("Couldn't make a private folder");
        }
        _task.launch();
    }

    [[nodiscard]] bool isRunning() const override { return _task.isRunning(); }
    void terminate() override { _task.terminate(); }

    void waitUntilExit() override {
        _task.waitUntilExit();
        _hasExited = true;
    }

    [[nodiscard]] std::int32_t terminationStatus() const override {
        return _task.terminationStatus();
    }
    std::optional<std::string> readOutputToEnd(std::uint64_t deadline) override {
        return _task.readOutputToEnd(deadline);
    }

    void close() override {
        _task.close();
        if (_step == SigningStep::signature && _folder && _hasExited &&
            _task.terminationStatus() == 0) {
            handedOn = readCertificateFile(_folder->path() + firstCertificateFile);
        }
        _folder.reset();
    }

private:
    const SigningStep _step;
    std::optional<PrivateFolder> _folder;
    VELPOSIXTask _task;
    bool _hasExited = false;
};

} // namespace

std::optional<PrivateFolder> PrivateFolder::make(const std::vector<std::string>& places) {
    for (const auto& place : places) {
        std::string path = place + "/vel-signing-XXXXXX";
        if (::mkdtemp(path.data()) != nullptr) {
            return PrivateFolder(std::move(path));
        }
    }
    return std::nullopt;
}

PrivateFolder::PrivateFolder(PrivateFolder&& other) noexcept
    : _path(std::exchange(other._path, std::string())) {}

PrivateFolder::~PrivateFolder() {
    if (!_path.empty()) {
        std::error_code ignored;
        std::filesystem::remove_all(_path, ignored);
    }
}

std::vector<std::string> privateFolderPlaces() {
    return {"/run/user/" + std::to_string(::geteuid()), "/tmp", "/var/tmp"};
}

std::optional<SigningStep> signingStep(std::string_view launchPath) {
    constexpr std::array steps = {
        std::tuple("/code-signature", "/usr/bin/codesign", SigningStep::signature),
        std::tuple("/certificate-subject", "/usr/bin/openssl", SigningStep::subject)};
    for (const auto& [ending, tool, step] : steps) {
        // Looking for a helper costs some system calls: most launch paths need none.
        if (launchPath.ends_with(ending) && launchPath == linuxToolPath(tool)) {
            return step;
        }
    }
    return std::nullopt;
}

std::shared_ptr<VELTask> signingTask(SigningStep step, std::string launchPath,
                                     std::vector<std::string> arguments,
                                     const std::vector<std::string>& places) {
    return std::make_shared<SigningTask>(step, std::move(launchPath), std::move(arguments), places);
}

} // namespace vel
