// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELSignedProcess.h"
#include "Helpers/Linux/VELConfinedWork.h"
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

namespace fs = std::filesystem;

constexpr std::size_t maximumSignatureBytes = std::size_t{1} << 20U;
constexpr off_t maximumExecutableBytes = off_t{512} << 20U; // about a second of hashing

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

/// Whether root, or `owner`, alone may change what is at `path`. Links are followed.
bool isChangedByOwnerAlone(const fs::path& path, uid_t owner) {
    std::error_code problem;
    const fs::path whole = fs::canonical(path, problem);
    fs::path entry;
    for (const auto& name : whole) {
        struct stat status {};
        entry /= name;
        if (::lstat(entry.c_str(), &status) != 0 ||
            (status.st_uid != 0 && status.st_uid != owner)) {
            return false;
        }
        // In a sticky folder nobody replaces what belongs to another.
        const bool isProtected = entry != whole && (status.st_mode & S_ISVTX) != 0;
        if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 && !isProtected) {
            return false;
        }
    }
    return !problem;
}

/// Who may sign: everybody, those that an anchor vouches for, or nobody, for a reason.
struct Anchors {
    bool isAnybody = false;
    std::vector<std::string> certificates = {};
    std::string refusal = {};
};

Anchors readAnchors(const std::string& folder, uid_t owner) {
    const auto refused = [](std::string reason) { return Anchors{.refusal = std::move(reason)}; };
    std::error_code problem;
    // A link that leads nowhere is not the same as no folder.
    if (fs::symlink_status(folder, problem).type() == fs::file_type::not_found) {
        return refused("the signer is not trusted: there is no folder " + folder);
    }
    const std::string unreadable = "the anchors in " + folder + " cannot be read";
    const auto refuseOpen = [&refused](const std::string& path) {
        return refused("the signer is not trusted: " + path +
                       " may be changed by others than root");
    };
    Anchors anchors;
    fs::directory_iterator files(folder, problem);
    if (!problem && !isChangedByOwnerAlone(folder, owner)) {
        return refuseOpen(folder);
    }
    for (; !problem && files != fs::directory_iterator(); files.increment(problem)) {
        const fs::path& file = files->path();
        if (file.filename().native().starts_with('.')) {
            continue;
        }
        if (!isChangedByOwnerAlone(file, owner)) {
            return refuseOpen(file);
        }
        if (file.filename() == "any") {
            anchors.isAnybody = true;
            continue;
        }
        const auto content = readRegularFile(file);
        const auto found = content ? certificatesInFile(*content) : std::vector<std::string>();
        if (found.empty()) {
            return refused(unreadable);
        }
        anchors.certificates.insert(anchors.certificates.end(), found.begin(), found.end());
    }
    return problem ? refused(unreadable) : anchors;
}

constexpr std::string_view refusalMark = "!"; // DER begins with another byte
constexpr const char* unverified = "its signature cannot be verified";

std::string textOfResult(const std::variant<SignerCertificate, SignatureRefusal>& result) {
    if (const auto* refusal = std::get_if<SignatureRefusal>(&result)) {
        return std::string(refusalMark) + refusal->reason;
    }
    return std::get<SignerCertificate>(result);
}

std::variant<SignerCertificate, SignatureRefusal> resultOfText(const std::string& text) {
    if (text.starts_with(refusalMark)) {
        return SignatureRefusal{text.substr(refusalMark.size())};
    }
    return text;
}

} // namespace

std::variant<SignerCertificate, SignatureRefusal>
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
    if (::fstat(image.get(), &running) != 0 || !path.starts_with('/')) {
        return SignatureRefusal{"its executable cannot be read"};
    }
    if (::stat(path.c_str(), &present) != 0 || !isSameFile(running, present)) {
        return SignatureRefusal{"its executable was removed or replaced"};
    }
    if (running.st_size > maximumExecutableBytes) {
        return SignatureRefusal{"its executable is larger than 512 MiB"};
    }
    const auto signature = readRegularFile(path + ".p7s");
    if (!signature) {
        return SignatureRefusal{"there is no signature " + path + ".p7s"};
    }
    const Anchors anchors = readAnchors(sources.anchorFolder, sources.anchorOwner);
    if (!anchors.refusal.empty()) {
        return SignatureRefusal{anchors.refusal};
    }
    auto result = verifyDetachedSignature(*signature, image.get(),
                                          anchors.isAnybody ? nullptr : &anchors.certificates);
    if (!stillRuns(process.get(), running)) {
        return SignatureRefusal{"it has ended or runs another executable"};
    }
    return result;
}

std::string objectionToAllSigners(const SignedProcessSources& sources) {
    const Anchors anchors = readAnchors(sources.anchorFolder, sources.anchorOwner);
    if (anchors.refusal.empty() && !anchors.isAnybody && anchors.certificates.empty()) {
        return "no certificate is in " + sources.anchorFolder;
    }
    return anchors.refusal;
}

std::variant<SignerCertificate, SignatureRefusal>
signerOfProcessInTime(const std::string& processID, const SignedProcessSources& sources,
                      std::chrono::milliseconds limit) {
    const auto result = doConfined("code-signature", limit, ConfinedDiagnostics::dropped, [&] {
        return textOfResult(signerOfProcess(processID, sources));
    });
    switch (result.end) {
    case ConfinedResult::End::finished:
        return resultOfText(result.text);
    case ConfinedResult::End::tooSlow:
        return SignatureRefusal{"its executable and signature cannot be read in time"};
    default:
        return SignatureRefusal{unverified};
    }
}

} // namespace vel
