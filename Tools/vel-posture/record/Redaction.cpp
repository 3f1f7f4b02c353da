// SPDX-License-Identifier: Apache-2.0
#include "Tools/vel-posture/record/Redaction.h"

#include "Base/VELJSON.h"
#include "Base/VELProcessListing.h"
#include "Base/VELPropertyList.h"
#include "Base/VELText.h"
#include "Base/VELXMLText.h"
#include "Classes/Mac/VELDomainCheck.h"
#include "Classes/Mac/VELProcessRunningCheck.h"
#include "Platform/X509/VELSHA1.h"
#include "Tools/vel-posture/ProgramFailure.h"
#include "Tools/vel-posture/record/RecordedTools.h"
#include "Tools/vel-posture/record/WantedValues.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace {

using namespace vel::recorded;

/// Mount points that say nothing about who uses the machine.
constexpr std::string_view usualMountPoints[] = {
    "/",
    "/System/Volumes/Data",
    "/System/Volumes/Hardware",
    "/System/Volumes/Preboot",
    "/System/Volumes/Update",
    "/System/Volumes/VM",
    "/System/Volumes/iSCPreboot",
    "/System/Volumes/xarts",
    "/boot",
    "/boot/efi",
    "/dev",
    "/home",
    "/opt",
    "/proc",
    "/run",
    "/srv",
    "/sys",
    "/tmp",
    "/usr",
    "/var",
};

/// A property list of nothing but the text under this path of keys.
std::string propertyList(std::span<const char* const> path, const std::string& text) {
    std::string list = "<string>" + vel::escapedForXML(text) + "</string>";
    VELValue value = text;
    for (std::size_t depth = path.size(); depth-- > 0;) {
        list = "<dict><key>" + std::string(path[depth]) + "</key>" + list + "</dict>";
        value = VELValue::object({{path[depth], value}});
    }
    list = "<plist version=\"1.0\">" + list + "</plist>\n";
    if (vel::readPropertyList(list, nullptr) != value) {
        throw ProgramFailure("cannot redact \"" + std::string(path.back()) +
                             "\": XML has no such characters");
    }
    return list;
}

std::string redactedDomainBinding(const std::string& output) {
    constexpr const char* domainPath[] = {"General Info", "Active Directory Domain"};
    constexpr const char* malformed = "<";
    std::optional<VELError> error;
    if (const auto domain = VELDomainCheck::domainInPropertyList(output, &error)) {
        return propertyList(domainPath, *domain);
    }
    return error && !output.empty() ? malformed : "";
}

/// The lines of the named processes.
std::string redactedListing(const std::string& output, const std::set<std::string>& names) {
    std::string listing;
    for (const std::string_view line : vel::split(output, '\n')) {
        const vel::ProcessListing own(line);
        if (std::ranges::any_of(names,
                                [&](const auto& name) { return !own.processIDs(name).empty(); })) {
            listing += std::string(line) + "\n";
        }
    }
    return listing;
}

std::string redactedSubject(const std::string& output) {
    const auto unit = VELProcessRunningCheck::subjectOUInSubjectLine(output);
    return unit ? "subject= /OU=" + *unit + "/\n" : "";
}

/// Nothing if no status is in it: the file counts as malformed.
std::optional<std::string> redactedStatusFile(const std::string& bytes) {
    constexpr const char* statePath[] = {"encryptionState"};
    const auto root = vel::readPropertyList(bytes, nullptr);
    const VELValue* state = root ? vel::valueUnder(statePath[0], *root) : nullptr;
    if (state == nullptr || !state->is_string()) {
        return std::nullopt;
    }
    return propertyList(statePath, state->get<std::string>());
}

/// Names such as "disk3s5" and "dm-0" are the system's. Others may say whose machine it is:
/// "mapper/annas--laptop-root", "//server/anna".
std::string redactedDevice(const std::string& device) {
    const bool isOfTheSystem = std::ranges::all_of(device, [](char character) {
        return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') ||
               character == '-';
    });
    return isOfTheSystem ? device : "";
}

std::string fingerprintOf(const std::string& certificate) {
    std::string text;
    for (const char byte : vel::x509::sha1(certificate)) {
        vel::appendHexadecimal(static_cast<std::uint8_t>(byte), text);
    }
    return text;
}

class Redaction {
public:
    explicit Redaction(WantedValues wanted) : _wanted(std::move(wanted)) {}

    /// Changes an answer. Whether it is kept.
    template <typename Answer> bool redact(Answer& /*answer*/) { return true; }

    bool redact(SerialNumber& /*answer*/) { return _wanted.serialNumber; }

    bool redact(PreferenceValue& /*answer*/) { return _wanted.deviceID; }

    bool redact(FileContents& answer) {
        answer.bytes = answer.bytes ? redactedStatusFile(*answer.bytes) : std::nullopt;
        return true;
    }

    bool redact(MountTable& answer) {
        if (answer.mounts) {
            for (VELMount& mount : *answer.mounts) {
                mount.mountPoint = redactedMountPoint(mount.mountPoint);
                mount.device = redactedDevice(mount.device);
            }
        }
        return true;
    }

    bool redact(Disk& answer) { return redactMountPoint(answer); }
    bool redact(DiskDescription& answer) { return redactMountPoint(answer); }
    bool redact(DiskMedia& answer) { return redactMountPoint(answer); }
    bool redact(MediaProperty& answer) { return redactMountPoint(answer); }

    bool redact(Certificates& answer) {
        std::erase_if(answer.certificates, [&](const std::string& certificate) {
            return !_wanted.fingerprints.contains(fingerprintOf(certificate));
        });
        return true;
    }

    /// It serves explanations alone.
    bool redact(AllIdentities& /*answer*/) { return false; }

    bool redact(Run& run) {
        constexpr const char* notUTF8 = "\xFF";
        run.launchPath = run.command.front();
        if (run.launchFailure) {
            run.launchFailure = "the tool cannot be launched";
        }
        if (!vel::isValidUTF8(run.output)) {
            run.output = notUTF8;
        } else if (recordedtools::isOf(recordedtools::domain, run)) {
            run.output = redactedDomainBinding(run.output);
        } else if (recordedtools::isOf(recordedtools::processes, run)) {
            run.output = redactedListing(run.output, _wanted.processes);
        } else if (recordedtools::isOf(recordedtools::certificateSubject, run)) {
            run.output = redactedSubject(run.output);
        } else if (!recordedtools::isOf(recordedtools::firewall, run)) {
            run.output.clear();
        }
        return true;
    }

private:
    template <typename Answer> bool redactMountPoint(Answer& answer) {
        answer.mountPoint = redactedMountPoint(answer.mountPoint);
        return true;
    }

    /// The same for the same mount point, another one for another.
    std::string redactedMountPoint(const std::string& mountPoint) {
        if (std::ranges::find(usualMountPoints, mountPoint) != std::end(usualMountPoints)) {
            return mountPoint;
        }
        const auto [known, isNew] = _mountPoints.emplace(mountPoint, "");
        if (isNew) {
            known->second = "/volume-" + std::to_string(_mountPoints.size());
        }
        return known->second;
    }

    WantedValues _wanted;
    std::map<std::string, std::string> _mountPoints; // what stands for them
};

} // namespace

std::vector<VELRecordedAnswer> redacted(std::vector<VELRecordedAnswer> answers,
                                        std::span<const VELValue> requests) {
    Redaction redaction(wantedValues(requests));
    std::vector<VELRecordedAnswer> kept;
    for (VELRecordedAnswer& answer : answers) {
        if (std::visit([&](auto& known) { return redaction.redact(known); }, answer.answer)) {
            kept.push_back(std::move(answer));
        }
    }
    return kept;
}
