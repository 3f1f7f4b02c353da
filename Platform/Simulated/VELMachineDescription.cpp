// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELMachineDescription.h"

#include "Base/VELBase64.h"
#include "Base/VELJSON.h"
#include "Base/VELMoment.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vel {
namespace {

class DescriptionError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A value of the description and where it stands: a step from the value that holds it, which
/// outlives it. The place is put into words only when something is wrong there.
class Described {
public:
    explicit Described(const VELValue& value) : _value(value) {}

    [[nodiscard]] const VELValue& value() const { return _value; }

    /// The member that the description's format names `key`.
    [[nodiscard]] Described member(std::string_view key, const VELValue& value) const {
        return {value, *this, Step::member, key, 0};
    }

    /// The member that the description's author named `name`.
    [[nodiscard]] Described entry(std::string_view name, const VELValue& value) const {
        return {value, *this, Step::entry, name, 0};
    }

    /// The element at `index`, from 0.
    [[nodiscard]] Described element(std::size_t index, const VELValue& value) const {
        return {value, *this, Step::element, {}, index};
    }

    [[nodiscard]] const VELDictionary& object() const {
        require(_value.is_object(), "is not an object");
        return _value;
    }

    [[nodiscard]] const std::string& text() const {
        require(_value.is_string(), "is not a string");
        return _value.get_ref<const std::string&>();
    }

    [[nodiscard]] const VELArray& list() const {
        require(_value.is_array(), "is not a list");
        return _value;
    }

    [[nodiscard]] bool boolean() const {
        require(_value.is_boolean(), "is not a boolean");
        return _value.get<bool>();
    }

    [[nodiscard]] std::int32_t integer() const {
        require(_value.is_number_integer(), "is not an integer");
        return integer32();
    }

    /// A length of time, in seconds.
    [[nodiscard]] double seconds() const {
        require(_value.is_number(), "is not a number");
        // Compared as it stands, an integer of 64 bits without sign would be one with a sign.
        const auto seconds = _value.get<double>();
        require(seconds >= 0, "is negative");
        return seconds;
    }

    /// The bytes that a text in base64 stands for.
    [[nodiscard]] std::string bytes() const {
        std::optional<std::string> decoded = bytesOfBase64(text());
        require(decoded.has_value(), "is not base64");
        return std::move(*decoded);
    }

    [[nodiscard]] VELSecurityStatus status() const { return VELSecurityStatus{integer32()}; }

    /// An integer of 32 bits.
    [[nodiscard]] std::int32_t integer32() const {
        using Limits = std::numeric_limits<std::int32_t>;
        const bool isSmall =
            _value.is_number_unsigned()
                ? _value.get<std::uint64_t>() <= Limits::max()
                : _value.is_number_integer() && _value.get<std::int64_t>() >= Limits::min();
        require(isSmall, "is not an integer of 32 bits");
        return _value.get<std::int32_t>();
    }

    [[nodiscard]] VELMoment moment() const {
        const std::optional<VELMoment> moment = momentOfText(text());
        require(moment.has_value(), "is not an RFC 3339 time");
        return *moment;
    }

    /// An integer of 64 bits.
    [[nodiscard]] bool isInteger64() const {
        using Limits = std::numeric_limits<std::int64_t>;
        return _value.is_number_integer() &&
               (!_value.is_number_unsigned() ||
                _value.get<std::uint64_t>() <= std::uint64_t{Limits::max()});
    }

    /// Refuses the description unless `condition` holds of this value.
    void require(bool condition, const char* otherwise) const {
        if (!condition) {
            throw DescriptionError((_holder == nullptr ? "the description" : place()) + " " +
                                   otherwise);
        }
    }

    [[noreturn]] void refuseKey(const std::string& key) const {
        const std::string where = _holder == nullptr ? "" : " in " + place();
        throw DescriptionError("unknown key " + compactText(key) + where);
    }

private:
    enum class Step { member, entry, element };

    Described(const VELValue& value, const Described& holder, Step step, std::string_view name,
              std::size_t index)
        : _value(value), _holder(&holder), _step(step), _name(name), _index(index) {}

    /// Empty for the description itself.
    [[nodiscard]] std::string place() const {
        if (_holder == nullptr) {
            return {};
        }
        const std::string holder = _holder->place();
        switch (_step) {
        case Step::member:
            return holder + (holder.empty() ? "" : ".") + std::string(_name);
        case Step::entry:
            return holder + "[" + compactText(_name) + "]";
        case Step::element:
            break;
        }
        return holder + "[" + std::to_string(_index) + "]";
    }

    const VELValue& _value;
    const Described* _holder = nullptr; // null: this is the description
    Step _step = Step::member;
    std::string_view _name;
    std::size_t _index = 0;
};

/// A key of the format and what its value says of a part of the machine.
template <typename Part> struct Key {
    const char* name;
    void (*read)(const Described& value, Part& part);
};

/// Reads an object whose keys are all of `keys`.
template <typename Part>
void readKeys(const Described& described, std::span<const Key<Part>> keys, Part& part) {
    for (const auto& [name, value] : described.object().items()) {
        const auto key = std::ranges::find(keys, name, &Key<Part>::name);
        if (key == keys.end()) {
            described.refuseKey(name);
        }
        key->read(described.member(name, value), part);
    }
}

constexpr Key<std::optional<std::string>> bytesKeys[] = {
    {"base64",
     [](const Described& value, std::optional<std::string>& bytes) { bytes = value.bytes(); }},
};

/// A text, or an object with the bytes of one that may not be UTF-8.
std::string textOrBytes(const Described& value) {
    if (value.value().is_string()) {
        return value.text();
    }
    value.require(value.value().is_object(), "is neither a string nor an object");
    std::optional<std::string> bytes;
    readKeys<std::optional<std::string>>(value, bytesKeys, bytes);
    value.require(bytes.has_value(), "has no base64");
    return std::move(*bytes);
}

/// `read` returns the value of a key, or refuses it.
template <typename Read>
VELSimulatedPreferences::Store preferenceStore(const Described& applications, const Read& read) {
    VELSimulatedPreferences::Store store;
    for (const auto& [applicationID, values] : applications.object().items()) {
        const Described application = applications.entry(applicationID, values);
        auto& stored = store[applicationID];
        for (const auto& [key, value] : application.object().items()) {
            stored[key] = read(application.entry(key, value));
        }
    }
    return store;
}

/// Any value but null, which no store holds.
VELValue storedValue(const Described& value) {
    value.require(!value.value().is_null(), "is null");
    return value.value();
}

VELValue integerAnswer(const Described& value) {
    value.require(value.value().is_null() || value.isInteger64(),
                  "is neither an integer of 64 bits nor null");
    return value.value();
}

constexpr Key<VELSimulatedPreferences> preferenceKeys[] = {
    {"machine",
     [](const Described& value, VELSimulatedPreferences& preferences) {
         preferences.machine = preferenceStore(value, storedValue);
     }},
    {"user",
     [](const Described& value, VELSimulatedPreferences& preferences) {
         preferences.user = preferenceStore(value, storedValue);
     }},
    {"integers",
     [](const Described& value, VELSimulatedPreferences& preferences) {
         preferences.integers = preferenceStore(value, integerAnswer);
     }},
};

std::vector<std::string> commandOf(const Described& value) {
    std::vector<std::string> command;
    for (const VELValue& word : value.list()) {
        command.push_back(value.element(command.size(), word).text());
    }
    value.require(!command.empty(), "is empty");
    return command;
}

constexpr Key<VELSimulatedRun> runKeys[] = {
    {"command",
     [](const Described& value, VELSimulatedRun& run) { run.command = commandOf(value); }},
    {"launchPath",
     [](const Described& value, VELSimulatedRun& run) { run.launchPath = textOrBytes(value); }},
    {"after", [](const Described& value, VELSimulatedRun& run) { run.after = commandOf(value); }},
    {"output", [](const Described& value, VELSimulatedRun& run) { run.output = value.text(); }},
    {"outputBase64",
     [](const Described& value, VELSimulatedRun& run) { run.output = value.bytes(); }},
    {"pipeCapacity",
     [](const Described& value, VELSimulatedRun& run) {
         value.require(value.integer() >= 0, "is negative");
         run.pipeCapacity = static_cast<std::size_t>(value.integer());
     }},
    {"outputUnreadable",
     [](const Described& value, VELSimulatedRun& run) { run.outputReadFails = value.boolean(); }},
    {"secondsOutputIsHeld",
     [](const Described& value, VELSimulatedRun& run) {
         run.secondsOutputIsHeld = value.seconds();
     }},
    {"status", [](const Described& value, VELSimulatedRun& run) { run.status = value.integer(); }},
    {"signal", [](const Described& value, VELSimulatedRun& run) { run.signal = value.integer(); }},
    {"launchFailure",
     [](const Described& value, VELSimulatedRun& run) { run.launchFailure = textOrBytes(value); }},
    {"seconds",
     [](const Described& value, VELSimulatedRun& run) { run.seconds = value.seconds(); }},
    {"statusOnTermination",
     [](const Described& value, VELSimulatedRun& run) {
         run.statusOnTermination = value.integer();
     }},
    {"ignoresTermination", [](const Described& value,
                              VELSimulatedRun& run) { run.ignoresTermination = value.boolean(); }},
};

VELSimulatedRun runOf(const Described& value) {
    VELSimulatedRun run;
    readKeys<VELSimulatedRun>(value, runKeys, run);
    value.require(!run.command.empty(), "has no command");
    value.require(!value.value().contains("output") || !value.value().contains("outputBase64"),
                  "has both output and outputBase64");
    return run;
}

struct DescribedFile {
    std::optional<std::string> bytes;
    bool unreadable = false;
};

constexpr Key<DescribedFile> fileKeys[] = {
    {"base64", [](const Described& value, DescribedFile& file) { file.bytes = value.bytes(); }},
    {"unreadable",
     [](const Described& value, DescribedFile& file) { file.unreadable = value.boolean(); }},
};

/// Nothing for a file that is there but cannot be read.
std::optional<std::string> fileContents(const Described& value) {
    if (value.value().is_string()) {
        return value.text();
    }
    value.require(value.value().is_object(), "is neither a string nor an object");
    DescribedFile file;
    readKeys<DescribedFile>(value, fileKeys, file);
    value.require(file.bytes.has_value() != file.unreadable,
                  "has to have either base64 or an unreadable that is true");
    return file.bytes;
}

constexpr Key<VELDiskDescription> diskDescriptionKeys[] = {
    {"internal",
     [](const Described& value, VELDiskDescription& description) {
         description.deviceInternal = std::make_shared<const VELValue>(value.value());
     }},
    {"protocol",
     [](const Described& value, VELDiskDescription& description) {
         description.deviceProtocol = std::make_shared<const VELValue>(value.value());
     }},
    {"kind",
     [](const Described& value, VELDiskDescription& description) {
         description.volumeKind = std::make_shared<const VELValue>(value.value());
     }},
};

using MediaProperties = std::map<std::string, VELValue, std::less<>>;

MediaProperties mediaProperties(const Described& value) {
    constexpr std::array names = {"Sealed", "Role", "Encrypted", "CoreStorage Encrypted"};
    MediaProperties properties;
    for (const auto& [name, property] : value.object().items()) {
        if (std::ranges::find(names, std::string_view(name)) == names.end()) {
            value.refuseKey(name);
        }
        properties[name] = property;
    }
    return properties;
}

constexpr Key<VELSimulatedDisk> diskKeys[] = {
    {"description",
     [](const Described& value, VELSimulatedDisk& disk) {
         disk.description.emplace();
         readKeys<VELDiskDescription>(value, diskDescriptionKeys, *disk.description);
     }},
    {"media",
     [](const Described& value, VELSimulatedDisk& disk) { disk.media = mediaProperties(value); }},
};

constexpr Key<VELSimulatedMount> mountKeys[] = {
    {"type", [](const Described& value,
                VELSimulatedMount& mount) { mount.fileSystemType = textOrBytes(value); }},
    {"path", [](const Described& value,
                VELSimulatedMount& mount) { mount.mountPoint = textOrBytes(value); }},
    {"device",
     [](const Described& value, VELSimulatedMount& mount) { mount.device = textOrBytes(value); }},
    {"disk",
     [](const Described& value, VELSimulatedMount& mount) {
         mount.disk.emplace();
         readKeys<VELSimulatedDisk>(value, diskKeys, *mount.disk);
     }},
};

/// A name is for people: it must be one, and says nothing of the machine.
void readName(const Described& value, VELSimulatedPlatform&) {
    static_cast<void>(value.text());
}

void readProductVersion(const Described& value, VELSimulatedPlatform& machine) {
    machine.productVersionRecord = value.text();
}

void readSerialNumber(const Described& value, VELSimulatedPlatform& machine) {
    machine.hardwareSerialNumber = value.text();
}

void readPreferences(const Described& value, VELSimulatedPlatform& machine) {
    readKeys<VELSimulatedPreferences>(value, preferenceKeys, machine.preferenceStore);
}

void readTools(const Described& value, VELSimulatedPlatform& machine) {
    for (const VELValue& run : value.list()) {
        machine.tools.push_back(runOf(value.element(machine.tools.size(), run)));
    }
}

void readFiles(const Described& value, VELSimulatedPlatform& machine) {
    for (const auto& [path, contents] : value.object().items()) {
        machine.fileStore.contents[path] = fileContents(value.entry(path, contents));
    }
}

void readDiskSession(const Described& value, VELSimulatedPlatform& machine) {
    machine.disks.sessionAvailable = value.boolean();
}

/// Null is a mount table that cannot be read.
void readMounts(const Described& value, VELSimulatedPlatform& machine) {
    if (value.value().is_null()) {
        machine.disks.mounts.reset();
        return;
    }
    for (const VELValue& mount : value.list()) {
        const Described described = value.element(machine.disks.mounts->size(), mount);
        readKeys<VELSimulatedMount>(described, mountKeys, machine.disks.mounts->emplace_back());
    }
}

constexpr Key<VELSimulatedIdentity> identityKeys[] = {
    {"certificate", [](const Described& value,
                       VELSimulatedIdentity& identity) { identity.certificate = value.bytes(); }},
    {"certificateStatus",
     [](const Described& value, VELSimulatedIdentity& identity) {
         identity.certificateStatus = value.status();
     }},
    {"trustStatus", [](const Described& value,
                       VELSimulatedIdentity& identity) { identity.trustStatus = value.status(); }},
    {"anchorsStatus",
     [](const Described& value, VELSimulatedIdentity& identity) {
         identity.anchorsStatus = value.status();
     }},
};

std::vector<VELSimulatedIdentity> identitiesOf(const Described& value) {
    std::vector<VELSimulatedIdentity> identities;
    for (const VELValue& identity : value.list()) {
        const Described described = value.element(identities.size(), identity);
        readKeys<VELSimulatedIdentity>(described, identityKeys, identities.emplace_back());
        described.require(identity.contains("certificate"), "has no certificate");
    }
    return identities;
}

constexpr Key<VELSimulatedIdentityQuery> identityQueryKeys[] = {
    {"issuer", [](const Described& value,
                  VELSimulatedIdentityQuery& query) { query.issuer = value.bytes(); }},
    {"status", [](const Described& value,
                  VELSimulatedIdentityQuery& query) { query.status = value.status(); }},
    {"identities",
     [](const Described& value, VELSimulatedIdentityQuery& query) {
         query.identities = identitiesOf(value);
     }},
};

/// The parts of an error before it is made.
struct DescribedError {
    std::string domain;
    std::int64_t code = 0;
    VELDictionary userInfo = VELValue::object();
};

constexpr Key<DescribedError> errorKeys[] = {
    {"domain", [](const Described& value, DescribedError& error) { error.domain = value.text(); }},
    {"code",
     [](const Described& value, DescribedError& error) {
         value.require(value.isInteger64(), "is not an integer of 64 bits");
         error.code = value.value().get<std::int64_t>();
     }},
    {"userInfo",
     [](const Described& value, DescribedError& error) { error.userInfo = value.object(); }},
};

VELError errorOf(const Described& value) {
    DescribedError error;
    readKeys<DescribedError>(value, errorKeys, error);
    return {error.domain, error.code, error.userInfo};
}

constexpr Key<VELSimulatedTrust> trustKeys[] = {
    {"certificate",
     [](const Described& value, VELSimulatedTrust& trust) { trust.certificate = value.bytes(); }},
    {"trustStatus",
     [](const Described& value, VELSimulatedTrust& trust) { trust.trustStatus = value.status(); }},
    {"anchor",
     [](const Described& value, VELSimulatedTrust& trust) { trust.anchor = value.bytes(); }},
    {"anchorsStatus", [](const Described& value,
                         VELSimulatedTrust& trust) { trust.anchorsStatus = value.status(); }},
    {"trusted",
     [](const Described& value, VELSimulatedTrust& trust) { trust.isTrusted = value.boolean(); }},
    {"error",
     [](const Described& value, VELSimulatedTrust& trust) { trust.error = errorOf(value); }},
};

VELSimulatedTrust trustOf(const Described& value) {
    VELSimulatedTrust trust;
    readKeys<VELSimulatedTrust>(value, trustKeys, trust);
    value.require(value.value().contains("certificate"), "has no certificate");
    value.require(!trust.isTrusted || !trust.error, "is trusted and has an error");
    return trust;
}

constexpr Key<VELSimulatedKeychain> keychainKeys[] = {
    {"certificates",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         for (const VELValue& certificate : value.list()) {
             const std::size_t index = keychain.certificateList.size();
             keychain.certificateList.push_back(value.element(index, certificate).bytes());
         }
     }},
    {"certificatesStatus",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         keychain.certificatesStatus = value.status();
     }},
    {"identities",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         keychain.identityList = identitiesOf(value);
     }},
    {"identitiesStatus",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         keychain.identitiesStatus = value.status();
     }},
    {"identityQueries",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         for (const VELValue& query : value.list()) {
             const Described described = value.element(keychain.identityQueries.size(), query);
             readKeys<VELSimulatedIdentityQuery>(described, identityQueryKeys,
                                                 keychain.identityQueries.emplace_back());
             described.require(query.contains("issuer"), "has no issuer");
         }
     }},
    {"trust",
     [](const Described& value, VELSimulatedKeychain& keychain) {
         for (const VELValue& trust : value.list()) {
             const std::size_t index = keychain.trustAnswers.size();
             keychain.trustAnswers.push_back(trustOf(value.element(index, trust)));
         }
     }},
};

void readKeychain(const Described& value, VELSimulatedPlatform& machine) {
    readKeys<VELSimulatedKeychain>(value, keychainKeys, machine.keychainStore);
}

void readDate(const Described& value, VELSimulatedPlatform& machine) {
    machine.keychainStore.date = value.moment();
}

constexpr Key<VELSimulatedPlatform> machineKeys[] = {
    {"name", readName},
    {"productVersion", readProductVersion},
    {"serialNumber", readSerialNumber},
    {"preferences", readPreferences},
    {"tools", readTools},
    {"files", readFiles},
    {"diskSession", readDiskSession},
    {"mounts", readMounts},
    {"date", readDate},
    {"keychain", readKeychain},
};

void setError(std::string* error, std::string text) {
    if (error != nullptr) {
        *error = std::move(text);
    }
}

} // namespace

std::shared_ptr<VELSimulatedPlatform> machineFromDescription(std::string_view text,
                                                             std::string* error) {
    std::optional<VELError> readingError;
    if (const auto description = readJSON(text, &readingError)) {
        return machineFromValue(*description, error);
    }
    setError(error, readingError->message());
    return nullptr;
}

std::shared_ptr<VELSimulatedPlatform> machineFromValue(const VELValue& description,
                                                       std::string* error) {
    try {
        auto machine = std::make_shared<VELSimulatedPlatform>();
        machine->taskRecord.keepsEvents = false;
        readKeys<VELSimulatedPlatform>(Described(description), machineKeys, *machine);
        return machine;
    } catch (const DescriptionError& wrong) {
        setError(error, wrong.what());
        return nullptr;
    }
}

} // namespace vel
