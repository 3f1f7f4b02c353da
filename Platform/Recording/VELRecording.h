// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Base/VELMoment.h"
#include "Platform/VELDiskArbitration.h"
#include "Platform/VELPreferences.h"
#include "Platform/VELSecurityStatus.h"
#include "vel_device_trust/VELError.h"
#include "vel_device_trust/VELValue.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// What a platform was asked and what it answered: one struct for each question of the seam. What
/// is absent in an answer is the platform's "absent". Certificates are their DER.
namespace vel::recorded {

struct ProductVersion {
    std::optional<std::string> version;
};

struct SerialNumber {
    std::optional<std::string> serialNumber;
};

struct PreferenceValue {
    std::string key;
    std::string applicationID;
    VELPreferencesScope scope;
    std::optional<VELValue> value;
};

struct PreferenceInteger {
    std::string key;
    std::string applicationID;
    VELPreferences::IntegerValue value;
};

struct FileExists {
    std::string path;
    bool exists;
};

struct FileContents {
    std::string path;
    std::optional<std::string> bytes;
};

struct DiskSession {
    bool isMade;
};

struct MountTable {
    std::optional<std::vector<VELMount>> mounts;
};

struct Disk {
    std::string mountPoint;
    bool isMade;
};

struct DiskDescription {
    std::string mountPoint;
    std::optional<VELDiskDescription> description;
};

struct DiskMedia {
    std::string mountPoint;
    bool exists;
};

struct MediaProperty {
    std::string mountPoint;
    std::string name;
    std::optional<VELValue> value;
};

struct Certificates {
    VELSecurityStatus status;
    std::vector<std::string> certificates;
};

/// How many identities were found. The `IdentityCertificate`s that were asked for say which.
struct Identities {
    std::string issuer; // normalised subject
    VELSecurityStatus status;
    std::size_t count;
};

struct IdentityCertificate {
    std::string issuer; // of the identities
    std::size_t index;  // among them
    VELSecurityStatus status;
    std::optional<std::string> certificate;
};

/// All identities, asked for to explain why none was found.
struct AllIdentities {
    VELSecurityStatus status;
    std::vector<std::string> certificates;
    VELMoment moment;
};

/// An evaluation, or why it did not come to one.
struct Trust {
    std::string leaf;
    /// Whether the trust object was made.
    VELSecurityStatus created = VELSecurityStatus::success;
    /// The anchor that was set last, and how that went.
    std::optional<std::string> anchor = std::nullopt;
    VELSecurityStatus anchored = VELSecurityStatus::success;
    /// Absent: not evaluated.
    std::optional<bool> isTrusted = std::nullopt;
    std::optional<VELError> error = std::nullopt;
};

/// One run of a tool.
struct Run {
    /// The tool of macOS and its arguments.
    std::vector<std::string> command;
    /// The executable that stood for the tool.
    std::string launchPath = {};
    /// The command that was launched before in the task's working place. Empty: none, or no place.
    std::vector<std::string> after = {};
    /// Set when it was not launched; nothing below counts then.
    std::optional<std::string> launchFailure = std::nullopt;
    /// From the launch to the exit that was waited for.
    std::chrono::nanoseconds runningTime{};
    /// From the launch to the first time it was asked to end. Absent: it was not.
    std::optional<std::chrono::nanoseconds> terminatedAfter = std::nullopt;
    /// Absent: not asked for.
    std::optional<std::int32_t> status = std::nullopt;
    /// What reading the output gave.
    enum class Output { notRead, complete, unreadable, heldOpen };
    Output outputState = Output::notRead;
    /// The bytes of a complete output.
    std::string output = {};
    /// From the exit to the end of the output.
    std::chrono::nanoseconds outputTime{};
};

} // namespace vel::recorded

/// One question, its answer, and how long the platform took.
struct VELRecordedAnswer {
    using Answer = std::variant<
        vel::recorded::ProductVersion, vel::recorded::SerialNumber, vel::recorded::PreferenceValue,
        vel::recorded::PreferenceInteger, vel::recorded::FileExists, vel::recorded::FileContents,
        vel::recorded::DiskSession, vel::recorded::MountTable, vel::recorded::Disk,
        vel::recorded::DiskDescription, vel::recorded::DiskMedia, vel::recorded::MediaProperty,
        vel::recorded::Certificates, vel::recorded::Identities, vel::recorded::IdentityCertificate,
        vel::recorded::AllIdentities, vel::recorded::Trust, vel::recorded::Run>;

    /// The position of the request's entry for which it was asked, from 0. Absent: for none.
    std::optional<std::size_t> entry;
    Answer answer;
    std::chrono::nanoseconds duration;
};

/// What was asked of a platform, in order. Every operation may be called from any thread.
class VELRecording {
public:
    /// The entry of the request to which the answers from now on belong; absent: to none.
    void setEntry(std::optional<std::size_t> entry) noexcept;

    /// Keeps an answer, which `make` makes. If that fails, the recording is not complete any more:
    /// whoever asked must not notice.
    template <typename Make> void add(std::chrono::nanoseconds duration, Make make) noexcept {
        try {
            addAnswer(duration, make());
        } catch (...) {
            setIncomplete();
        }
    }

    /// Adds the answers of another recording, and that some are missing there.
    void append(const VELRecording& other);

    /// An answer is missing.
    void setIncomplete() noexcept;

    /// Whether every answer was kept.
    [[nodiscard]] bool isComplete() const noexcept;

    /// The answers until now.
    [[nodiscard]] std::vector<VELRecordedAnswer> answers() const;

    /// The answers until now, which the recording keeps no longer.
    [[nodiscard]] std::vector<VELRecordedAnswer> takeAnswers() noexcept;

private:
    void addAnswer(std::chrono::nanoseconds duration, VELRecordedAnswer::Answer answer);

    mutable std::mutex _mutex;
    std::optional<std::size_t> _entry;
    bool _isComplete = true;
    std::vector<VELRecordedAnswer> _answers;
};
