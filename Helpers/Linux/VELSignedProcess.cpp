// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSignedProcess.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/POSIX/VELFileReader.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vel {
namespace {

constexpr std::size_t maximumSignatureBytes = std::size_t{1} << 20U;

std::optional<std::string> readRegularFile(const std::string& path) {
    FileContents file = readFile(path, maximumSignatureBytes);
    return file.status == FileStatus::read ? std::optional(std::move(file.bytes)) : std::nullopt;
}

std::string executablePath(int process) {
    std::array<char, PATH_MAX> target; // NOLINT: filled by readlinkat
    const ssize_t length = ::readlinkat(process, "exe", target.data(), target.size());
    return {target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
}

bool isSameFile(const struct stat& left, const struct stat& right) {
    return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// Whether the process, which is held, still runs the image that was looked at.
bool stillRuns(int process, const struct stat& image) {
    struct stat now {};
    return ::fstatat(process, "exe", &now, 0) == 0 && isSameFile(now, image);
}

/// The anchors; an empty list where there is no folder. Nothing when the folder or a file in it
/// cannot be read, or a file holds no certificate.
std::optional<std::vector<std::string>> readAnchors(const std::string& folder) {
    std::error_code problem;
    std::vector<std::string> anchors;
    std::filesystem::directory_iterator files(folder, problem);
    for (; !problem && files != std::filesystem::directory_iterator(); files.increment(problem)) {
        if (files->path().filename().native().starts_with('.')) {
            continue;
        }
        const auto content = readRegularFile(files->path());
        const auto found = content ? certificatesInFile(*content) : std::vector<std::string>();
        if (found.empty()) {
            return std::nullopt;
        }
        anchors.insert(anchors.end(), found.begin(), found.end());
    }
    return problem ? std::nullopt : std::optional(std::move(anchors));
}

} // namespace

std::variant<SignerCertificates, SignatureRefusal>
signerOfProcess(const std::string& processID, const SignedProcessSources& sources) {
    // Held, the folder is that of this process alone, whoever gets its number later.
    const std::string folder = sources.processFolder + "/" + processID;
    const VELDescriptor process(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!process) {
        return SignatureRefusal{"there is no such process"};
    }
    const VELDescriptor image(::openat(process.get(), "exe", O_RDONLY | O_CLOEXEC));
    const std::string path = executablePath(process.get());
    struct stat running {};
    struct stat present {};
    if (!image || ::fstat(image.get(), &running) != 0 || !path.starts_with('/')) {
        return SignatureRefusal{"its executable cannot be read"};
    }
    if (::stat(path.c_str(), &present) != 0 || !isSameFile(running, present)) {
        return SignatureRefusal{"its executable was removed or replaced"};
    }
    const auto signature = readRegularFile(path + ".p7s");
    if (!signature) {
        return SignatureRefusal{"there is no signature " + path + ".p7s"};
    }
    // A link that leads nowhere says as well that there are to be anchors.
    std::error_code ignored;
    const bool hasAnchors = std::filesystem::symlink_status(sources.anchorFolder, ignored).type() !=
                            std::filesystem::file_type::not_found;
    const auto anchors =
        hasAnchors ? readAnchors(sources.anchorFolder) : std::optional<std::vector<std::string>>();
    if (hasAnchors && !anchors) {
        return SignatureRefusal{"the anchors in " + sources.anchorFolder + " cannot be read"};
    }
    auto result = verifyDetachedSignature(*signature, image.get(), anchors ? &*anchors : nullptr);
    if (!stillRuns(process.get(), running)) {
        return SignatureRefusal{"it has ended or runs another executable"};
    }
    return result;
}

} // namespace vel
