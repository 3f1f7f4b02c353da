// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordedMachine.h"

#include "Base/VELBase64.h"
#include "Base/VELDuration.h"
#include "Base/VELJSON.h"
#include "Base/VELText.h"

#include <cmath>
#include <limits>
#include <map>
#include <stdexcept>
#include <utility>

namespace vel {
namespace {

using namespace recorded;

class NoDescription : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A text, or its bytes if it is not UTF-8.
VELValue textOrBytes(const std::string& text) {
    return isValidUTF8(text) ? VELValue(text) : VELValue::object({{"base64", base64Text(text)}});
}

/// Seconds that the reader takes for exactly this duration.
double exactSeconds(std::chrono::nanoseconds duration) {
    double result = seconds(duration);
    while (nanoseconds(result) < duration) {
        result = std::nextafter(result, std::numeric_limits<double>::infinity());
    }
    return result;
}

template <typename Value> VELValue valueOrNull(const std::optional<Value>& value) {
    return value ? VELValue(*value) : VELValue();
}

VELValue listOfBase64(const std::vector<std::string>& elements) {
    VELValue list = VELValue::array();
    for (const std::string& element : elements) {
        list.push_back(base64Text(element));
    }
    return list;
}

VELValue descriptionOf(const VELDiskDescription& description) {
    VELValue object = VELValue::object();
    const std::pair<const char*, const std::shared_ptr<const VELValue>&> members[] = {
        {"internal", description.deviceInternal},
        {"protocol", description.deviceProtocol},
        {"kind", description.volumeKind}};
    for (const auto& [name, value] : members) {
        if (value != nullptr) {
            object[name] = *value;
        }
    }
    return object;
}

VELValue descriptionOf(const Trust& trust) {
    VELValue object = {{"certificate", base64Text(trust.leaf)}};
    if (trust.created != VELSecurityStatus::success) {
        object["trustStatus"] = integerOfStatus(trust.created);
    }
    if (trust.anchor) {
        object["anchor"] = base64Text(*trust.anchor);
    }
    if (trust.anchored != VELSecurityStatus::success) {
        object["anchorsStatus"] = integerOfStatus(trust.anchored);
    }
    if (trust.isTrusted) {
        object["trusted"] = *trust.isTrusted;
    }
    if (trust.error) {
        object["error"] = {{"domain", trust.error->domain()},
                           {"code", trust.error->code()},
                           {"userInfo", trust.error->userInfo()}};
    }
    return object;
}

/// How the run went on after its launch.
void describeCourse(const Run& run, VELValue& object) {
    constexpr std::chrono::seconds longer(1);
    if (!run.status) {
        throw NoDescription("a run of " + run.command.front() + " did not come to its end");
    }
    // What was read once the tool had ended is the same as what it prints until then.
    auto end = run.runningTime;
    if (run.outputState != Run::Output::heldOpen) {
        end += run.outputTime;
    }
    if (run.terminatedAfter == end) {
        object["statusOnTermination"] = *run.status;
        end += longer;
    } else if (run.terminatedAfter || end >= longer) {
        // Also if it was not asked to end: measured from here, it may have run past its time-out.
        object["ignoresTermination"] = true;
    }
    if (*run.status != 0) {
        object["status"] = *run.status;
    }
    if (end > end.zero()) {
        object["seconds"] = exactSeconds(end);
    }
    if (run.outputState == Run::Output::heldOpen) {
        object["secondsOutputIsHeld"] = exactSeconds(run.outputTime + longer);
    } else if (run.outputState == Run::Output::unreadable) {
        object["outputUnreadable"] = true;
    }
    if (!isValidUTF8(run.output)) {
        object["outputBase64"] = base64Text(run.output);
    } else if (!run.output.empty()) {
        object["output"] = run.output;
    }
    if (constexpr std::size_t usualPipeCapacity = 65'536; run.output.size() > usualPipeCapacity) {
        object["pipeCapacity"] = run.output.size();
    }
}

VELValue descriptionOf(const Run& run) {
    VELValue object = {{"command", run.command}};
    if (run.launchPath != run.command.front()) {
        object["launchPath"] = textOrBytes(run.launchPath);
    }
    if (!run.after.empty()) {
        object["after"] = run.after;
    }
    if (run.launchFailure) {
        object["launchFailure"] = textOrBytes(*run.launchFailure);
    } else {
        describeCourse(run, object);
    }
    return object;
}

/// Collects answers into the description of a machine.
class Describer {
public:
    void describe(const ProductVersion& answer) {
        if (isNew("the product version", valueOrNull(answer.version)) && answer.version) {
            _machine["productVersion"] = *answer.version;
        }
    }

    void describe(const SerialNumber& answer) {
        if (isNew("the serial number", valueOrNull(answer.serialNumber)) && answer.serialNumber) {
            _machine["serialNumber"] = *answer.serialNumber;
        }
    }

    void describe(const PreferenceValue& answer) {
        const char* scope = answer.scope == VELPreferencesScope::anyUser ? "machine" : "user";
        const std::string question =
            "the preference " + answer.key + " of " + answer.applicationID + " (" + scope + ")";
        if (isNew(question, valueOrNull(answer.value)) && answer.value) {
            _machine["preferences"][scope][answer.applicationID][answer.key] = *answer.value;
        }
    }

    void describe(const PreferenceInteger& answer) {
        const VELValue value = answer.value.found ? VELValue(answer.value.value) : VELValue();
        if (isNew("the integer " + answer.key + " of " + answer.applicationID, value)) {
            _machine["preferences"]["integers"][answer.applicationID][answer.key] = value;
        }
    }

    void describe(const FileExists& answer) {
        if (isNew("the presence of " + answer.path, answer.exists) && answer.exists) {
            _machine["files"].emplace(answer.path, VELValue::object({{"unreadable", true}}));
        }
    }

    void describe(const FileContents& answer) {
        if (!answer.bytes) {
            isNew("the content of " + answer.path, VELValue());
            return;
        }
        describe(FileExists{answer.path, true});
        const VELValue contents = textOrBytes(*answer.bytes);
        if (isNew("the content of " + answer.path, contents)) {
            _machine["files"][answer.path] = contents;
        }
    }

    void describe(const DiskSession& answer) {
        if (isNew("the disk session", answer.isMade) && !answer.isMade) {
            _machine["diskSession"] = false;
        }
    }

    void describe(const MountTable& answer) {
        VELValue table;
        if (answer.mounts) {
            table = VELValue::array();
            for (const VELMount& mount : *answer.mounts) {
                table.push_back({{"type", textOrBytes(mount.fileSystemType)},
                                 {"path", textOrBytes(mount.mountPoint)}});
                if (!mount.device.empty()) {
                    table.back()["device"] = textOrBytes(mount.device);
                }
            }
        }
        if (isNew("the mount table", table)) {
            _machine["mounts"] = table;
        }
    }

    void describe(const Disk& answer) {
        if (isNew("the disk at " + answer.mountPoint, answer.isMade) && answer.isMade) {
            _disks.emplace(textOrBytes(answer.mountPoint), VELValue::object());
        }
    }

    void describe(const DiskDescription& answer) {
        const VELValue value = answer.description ? descriptionOf(*answer.description) : VELValue();
        if (isNew("the description of the disk at " + answer.mountPoint, value) &&
            answer.description) {
            _disks[textOrBytes(answer.mountPoint)]["description"] = value;
        }
    }

    void describe(const DiskMedia& answer) {
        if (isNew("the media object of the disk at " + answer.mountPoint, answer.exists) &&
            answer.exists) {
            _disks[textOrBytes(answer.mountPoint)].emplace("media", VELValue::object());
        }
    }

    void describe(const MediaProperty& answer) {
        const std::string question = "the property " + answer.name + " at " + answer.mountPoint;
        const VELValue value = answer.value ? VELValue::array({*answer.value}) : VELValue();
        if (isNew(question, value) && answer.value) {
            _disks[textOrBytes(answer.mountPoint)]["media"][answer.name] = *answer.value;
        }
    }

    void describe(const Certificates& answer) {
        const VELValue list = listOfBase64(answer.certificates);
        const std::int32_t status = integerOfStatus(answer.status);
        if (isNew("the list of certificates", {{"status", status}, {"list", list}})) {
            _machine["keychain"]["certificates"] = list;
            _machine["keychain"]["certificatesStatus"] = status;
        }
    }

    void describe(const Identities& answer) {
        const std::int32_t status = integerOfStatus(answer.status);
        if (isNew("the identities of an issuer", status, answer.issuer)) {
            _identityQueries[answer.issuer] = {{"issuer", base64Text(answer.issuer)},
                                               {"status", status},
                                               {"identities", VELValue::array()}};
        }
    }

    void describe(const IdentityCertificate& answer) {
        VELValue identity = {{"certificate", base64Text(answer.certificate.value_or(""))}};
        if (answer.status != VELSecurityStatus::success) {
            identity["certificateStatus"] = integerOfStatus(answer.status);
        }
        const std::string which = std::to_string(answer.index) + " " + answer.issuer;
        if (isNew("the certificate of an identity", identity, which)) {
            VELValue& identities = _identityQueries[answer.issuer]["identities"];
            if (answer.index != identities.size()) {
                throw NoDescription("an identity was not asked for its certificate");
            }
            identities.push_back(std::move(identity));
        }
    }

    void describe(const AllIdentities& answer) {
        VELValue list = VELValue::array();
        for (const std::string& certificate : answer.certificates) {
            list.push_back({{"certificate", base64Text(certificate)}});
        }
        const std::int32_t status = integerOfStatus(answer.status);
        if (isNew("the list of identities", {{"status", status}, {"list", list}})) {
            _machine["keychain"]["identities"] = list;
            _machine["keychain"]["identitiesStatus"] = status;
            constexpr VELMoment startOf2001 =
                std::chrono::sys_days(std::chrono::year(2001) / 1 / 1);
            if (const auto date = dateText(seconds(answer.moment - startOf2001))) {
                _machine["date"] = *date;
            }
        }
    }

    void describe(const Trust& answer) {
        const VELValue trust = descriptionOf(answer);
        const std::string which =
            base64Text(answer.leaf) + " " + base64Text(answer.anchor.value_or(""));
        if (isNew("the trust in a certificate", trust, which)) {
            _machine["keychain"]["trust"].push_back(trust);
        }
    }

    void describe(const Run& answer) { _machine["tools"].push_back(descriptionOf(answer)); }

    /// The description of the machine. Once.
    VELValue take() {
        putDisks();
        for (auto& [issuer, query] : _identityQueries) {
            _machine["keychain"]["identityQueries"].push_back(std::move(query));
        }
        return std::move(_machine);
    }

private:
    /// Whether a question is asked for the first time. A machine has one answer to it.
    bool isNew(const std::string& question, const VELValue& answer, const std::string& which = "") {
        const auto [known, isNew] = _answers.emplace(std::pair(question, which), answer);
        if (known->second != answer) {
            throw NoDescription(question + " changed in between");
        }
        return isNew;
    }

    /// Puts each disk to what is mounted at its mount point.
    void putDisks() {
        for (const auto& [mountPoint, disk] : _disks) {
            bool isMounted = false;
            for (VELValue& mount : _machine["mounts"]) {
                if (mount["path"] == mountPoint) {
                    mount["disk"] = disk;
                    isMounted = true;
                }
            }
            if (!isMounted) {
                throw NoDescription("a disk was found where nothing is mounted");
            }
        }
    }

    VELValue _machine = VELValue::object();
    std::map<std::pair<std::string, std::string>, VELValue> _answers;
    std::map<VELValue, VELValue> _disks;              // by mount point
    std::map<std::string, VELValue> _identityQueries; // by issuer
};

} // namespace

std::optional<std::string> descriptionOfAnswers(std::span<const VELRecordedAnswer> answers,
                                                std::string* error) {
    std::string failure;
    try {
        Describer describer;
        for (const VELRecordedAnswer& answer : answers) {
            std::visit([&](const auto& known) { describer.describe(known); }, answer.answer);
        }
        std::optional<VELError> writingError;
        if (auto text = writeJSON(describer.take(), &writingError)) {
            return text;
        }
        failure = writingError->message();
    } catch (const NoDescription& reason) {
        failure = reason.what();
    }
    if (error != nullptr) {
        *error = std::move(failure);
    }
    return std::nullopt;
}

} // namespace vel
