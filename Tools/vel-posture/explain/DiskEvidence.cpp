// SPDX-License-Identifier: Apache-2.0
#include "Base/VELJSON.h"
#include "Base/VELPropertyList.h"
#include "Base/VELText.h"
#include "Classes/Mac/VELCheckpointEncryptionCheck.h"
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"
#include "Tools/vel-posture/ReportText.h"
#include "Tools/vel-posture/explain/Explanation.h"

#include <map>

using namespace vel::recorded;
using Kind = CheckOutcome::Kind;
using FileVault = VELFileVaultEncryptionCheck;

namespace {

/// A mounted volume, as far as the check asked about it.
struct Volume {
    std::string mountPoint;
    std::string fileSystemType;
    std::string device; // empty where more than one file system is mounted: the disk is of one
    bool hasDisk = false;
    VELDiskDescription description = {};
    std::map<std::string, std::optional<VELValue>, std::less<>> properties = {};

    [[nodiscard]] std::optional<VELValue> property(const char* name) const {
        const auto found = properties.find(name);
        return found == properties.end() ? std::nullopt : found->second;
    }
};

enum class State { noDisk, external, ntfs, sealed, notData, encrypted, notEncrypted };

State stateOf(const Volume& volume) {
    if (!volume.hasDisk) {
        return State::noDisk;
    }
    if (!FileVault::isInternal(volume.description)) {
        return State::external;
    }
    if (FileVault::isNTFS(volume.description)) {
        return State::ntfs;
    }
    if (FileVault::isSealed(volume.property("Sealed"))) {
        return State::sealed;
    }
    if (!FileVault::hasDataRole(volume.property("Role"))) {
        return State::notData;
    }
    return FileVault::isEncrypted(volume.property("Encrypted")) ||
                   FileVault::isEncrypted(volume.property("CoreStorage Encrypted"))
               ? State::encrypted
               : State::notEncrypted;
}

const char* nameOf(State state) {
    switch (state) {
    case State::noDisk:
        return "no disk";
    case State::external:
        return "external";
    case State::ntfs:
        return "NTFS";
    case State::sealed:
        return "sealed";
    case State::notData:
        return "not in the Data role";
    case State::encrypted:
        return "encrypted";
    case State::notEncrypted:
        break;
    }
    return "not encrypted";
}

/// The volumes in the order in which they were asked about.
std::vector<Volume> volumesIn(Answers answers) {
    std::vector<Volume> volumes;
    std::vector<VELMount> mounts;
    std::map<std::string, std::size_t> mountsAt;
    for (const VELRecordedAnswer& each : answers) {
        if (const auto* table = std::get_if<MountTable>(&each.answer)) {
            mounts = table->mounts.value_or(std::vector<VELMount>());
            std::erase_if(
                mounts, [](const VELMount& mount) { return !vel::isValidUTF8(mount.mountPoint); });
            for (const VELMount& mount : mounts) {
                ++mountsAt[mount.mountPoint];
            }
        } else if (const auto* disk = std::get_if<Disk>(&each.answer)) {
            const std::size_t index = volumes.size();
            const VELMount mount = index < mounts.size() ? mounts[index] : VELMount();
            volumes.push_back({disk->mountPoint, mount.fileSystemType,
                               mountsAt[disk->mountPoint] == 1 ? mount.device : "", disk->isMade});
        } else if (const auto* description = std::get_if<DiskDescription>(&each.answer)) {
            if (!volumes.empty()) {
                volumes.back().description =
                    description->description.value_or(VELDiskDescription());
            }
        } else if (const auto* property = std::get_if<MediaProperty>(&each.answer)) {
            if (!volumes.empty()) {
                volumes.back().properties[property->name] = property->value;
            }
        }
    }
    return volumes;
}

std::string textOf(const std::shared_ptr<const VELValue>& value) {
    return value != nullptr && value->is_string() ? value->get<std::string>() : "";
}

/// "/ (ext4 on sda1)". The bus stands for a device that is not known, and says why one is external.
std::string shown(const Volume& volume) {
    std::string text = textOf(volume.description.volumeKind);
    if (text.empty()) {
        text = vel::validUTF8(volume.fileSystemType);
    }
    if (!volume.device.empty()) {
        text += " on " + volume.device;
    }
    const std::string bus = textOf(volume.description.deviceProtocol);
    if (!bus.empty() && (volume.device.empty() || !FileVault::isInternal(volume.description))) {
        text += " over " + bus;
    }
    return printable(volume.mountPoint) + " (" + printable(text) + ")";
}

/// "/ (ext4 on sda1) is not encrypted".
std::string problemOf(const Volume& volume) {
    for (const char* name : {"Encrypted", "CoreStorage Encrypted"}) {
        const auto property = volume.property(name);
        if (property && property->is_boolean()) {
            return shown(volume) + " is not encrypted";
        }
    }
    return shown(volume) + " does not say that it is encrypted";
}

VELValue listed(const std::vector<Volume>& volumes) {
    VELValue list = VELValue::array();
    for (const Volume& volume : volumes) {
        list.push_back({{"path", vel::validUTF8(volume.mountPoint)},
                        {"type", vel::validUTF8(volume.fileSystemType)},
                        {"state", nameOf(stateOf(volume))}});
    }
    return list;
}

/// What the volumes alone lead to. Nothing: the answers do not suffice.
std::optional<Explanation> explainVolumes(Answers answers) {
    const auto* session = answerOf<DiskSession>(answers);
    const auto* table = answerOf<MountTable>(answers);
    if (session == nullptr || (session->isMade && table == nullptr)) {
        return std::nullopt;
    }
    Evidence evidence = {.expected = "encrypted", .found = nullptr, .source = "the mount table"};
    if (!session->isMade) {
        evidence.code = "disk-session-failed";
        evidence.text = "the disk service cannot be reached";
        return Explanation{Kind::fail, std::move(evidence)};
    }
    if (!table->mounts) {
        evidence.code = "mount-table-unreadable";
        evidence.text = "the mount table cannot be read";
        return Explanation{Kind::fail, std::move(evidence)};
    }
    const std::vector<Volume> volumes = volumesIn(answers);
    evidence.found = listed(volumes);
    std::size_t encrypted = 0;
    std::vector<std::string> problems;
    std::vector<std::string> outside;
    std::vector<std::string> attached; // of these, what a reader may have expected in scope
    for (const Volume& volume : volumes) {
        const State state = stateOf(volume);
        if (state == State::encrypted) {
            ++encrypted;
        } else if (state == State::notEncrypted) {
            problems.push_back(problemOf(volume));
        } else {
            outside.push_back(shown(volume) + (state == State::noDisk ? " has " : " is ") +
                              nameOf(state));
            if (state == State::external || state == State::ntfs) {
                attached.push_back(outside.back());
            }
        }
    }
    if (!problems.empty()) {
        evidence.code = "volume-not-encrypted";
        if (encrypted > 0) {
            problems.push_back(encrypted == 1
                                   ? "1 other volume in scope is"
                                   : std::to_string(encrypted) + " other volumes in scope are");
        }
        evidence.text = sentence(problems);
        return Explanation{Kind::fail, std::move(evidence)};
    }
    if (encrypted == 0) {
        evidence.code = "no-volume-in-scope";
        evidence.text = outside.empty() ? "no volume is mounted"
                                        : "no volume is in scope: " + sentence(outside);
    } else {
        evidence.code = "volumes-encrypted";
        evidence.text = "encrypted: " + countOf(encrypted, "volume", "volumes") + " in scope" +
                        (attached.empty() ? "" : "; not in scope: " + sentence(attached));
    }
    return Explanation{Kind::pass, std::move(evidence)};
}

/// What the status file leads to, `volumes` before it.
std::optional<Explanation> explainStatusFile(Evidence volumes, Answers answers) {
    const auto* presence = answerOf<FileExists>(answers);
    const auto* contents = answerOf<FileContents>(answers);
    if (presence == nullptr || (presence->exists && contents == nullptr)) {
        return std::nullopt;
    }
    Evidence evidence = std::move(volumes);
    if (!presence->exists) {
        evidence.text += "; no status file";
        return Explanation{Kind::fail, std::move(evidence)};
    }
    evidence.source = printable(contents->path);
    const auto status =
        contents->bytes ? vel::readPropertyList(*contents->bytes, nullptr) : std::nullopt;
    const std::string* state =
        status ? VELCheckpointEncryptionCheck::encryptionStateIn(*status) : nullptr;
    if (state == nullptr) {
        const VELValue* other = status ? vel::valueUnder("encryptionState", *status) : nullptr;
        evidence.code = !contents->bytes   ? "status-file-unreadable"
                        : !status          ? "status-file-malformed"
                        : other != nullptr ? "status-file-state-not-text"
                                           : "status-file-without-state";
        evidence.text += !contents->bytes   ? "; the status file cannot be read"
                         : !status          ? "; the status file is no property list"
                         : other != nullptr ? "; the status file's encryptionState is " +
                                                  shownValue(*other) + ", not a string"
                                            : "; the status file has no encryptionState";
        return Explanation{Kind::error, std::move(evidence)};
    }
    evidence.found = *state;
    const auto failing = VELCheckpointEncryptionCheck::indexOfFailingState(*state);
    evidence.code = failing ? "status-file-not-encrypted" : "status-file-encrypted";
    evidence.text += "; the status file says " + named(*state);
    if (failing) {
        evidence.text += ": disk " + std::to_string(*failing + 1) + " is not encrypted";
    } else {
        evidence.text += ": encrypted";
    }
    return Explanation{failing ? Kind::fail : Kind::pass, std::move(evidence)};
}

} // namespace

std::optional<Explanation> explainDiskEncryption(const VELDictionary& /*entry*/, Answers answers) {
    auto volumes = explainVolumes(answers);
    if (!volumes || volumes->outcome == Kind::pass) {
        return volumes;
    }
    return explainStatusFile(std::move(volumes->evidence), answers);
}
