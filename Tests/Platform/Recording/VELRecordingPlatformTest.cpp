// SPDX-License-Identifier: Apache-2.0
#include "Platform/Recording/VELRecordingPlatform.h"

#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "vel_device_trust/VELPostureCheckErrors.h"

#include <gtest/gtest.h>

#include <new>
#include <utility>

namespace {

using namespace vel::recorded;
using std::chrono::nanoseconds;
using std::chrono::seconds;

std::string text(const std::optional<std::string>& value) {
    return value ? *value : "(absent)";
}

std::string text(const std::optional<VELValue>& value) {
    return value ? value->dump() : "(absent)";
}

std::string text(const std::shared_ptr<const VELValue>& value) {
    return value ? value->dump() : "(absent)";
}

std::string text(bool value) {
    return value ? "yes" : "no";
}

/// Each kind of answer as a line.
struct Line {
    std::string operator()(const ProductVersion& answer) const {
        return "version " + text(answer.version);
    }
    std::string operator()(const SerialNumber& answer) const {
        return "serial " + text(answer.serialNumber);
    }
    std::string operator()(const PreferenceValue& answer) const {
        return (answer.scope == VELPreferencesScope::anyUser ? "machine " : "user ") +
               answer.applicationID + " " + answer.key + " " + text(answer.value);
    }
    std::string operator()(const PreferenceInteger& answer) const {
        return "integer " + answer.applicationID + " " + answer.key + " " +
               (answer.value.found ? std::to_string(answer.value.value) : "(absent)");
    }
    std::string operator()(const FileExists& answer) const {
        return "exists " + answer.path + " " + text(answer.exists);
    }
    std::string operator()(const FileContents& answer) const {
        return "file " + answer.path + " " + text(answer.bytes);
    }
    std::string operator()(const DiskSession& answer) const {
        return "session " + text(answer.isMade);
    }
    std::string operator()(const MountTable& answer) const {
        std::string line = answer.mounts ? "mounts" : "mounts (absent)";
        for (const VELMount& mount : answer.mounts.value_or(std::vector<VELMount>())) {
            line += " " + mount.fileSystemType + ":" + mount.mountPoint +
                    (mount.device.empty() ? "" : ":" + mount.device);
        }
        return line;
    }
    std::string operator()(const Disk& answer) const {
        return "disk " + answer.mountPoint + " " + text(answer.isMade);
    }
    std::string operator()(const DiskDescription& answer) const {
        return "description " + answer.mountPoint + " " +
               (answer.description ? text(answer.description->deviceInternal) + " " +
                                         text(answer.description->deviceProtocol) + " " +
                                         text(answer.description->volumeKind)
                                   : "(absent)");
    }
    std::string operator()(const DiskMedia& answer) const {
        return "media " + answer.mountPoint + " " + text(answer.exists);
    }
    std::string operator()(const MediaProperty& answer) const {
        return "property " + answer.mountPoint + " " + answer.name + " " + text(answer.value);
    }
    std::string operator()(const Certificates& answer) const {
        std::string line = "certificates " + std::to_string(vel::integerOfStatus(answer.status));
        for (const std::string& certificate : answer.certificates) {
            line += " " + certificate;
        }
        return line;
    }
    std::string operator()(const Identities& answer) const {
        return "identities " + std::to_string(vel::integerOfStatus(answer.status)) + " " +
               std::to_string(answer.count);
    }
    std::string operator()(const IdentityCertificate& answer) const {
        return "identity " + std::to_string(answer.index) + " " +
               std::to_string(vel::integerOfStatus(answer.status)) + " " + text(answer.certificate);
    }
    std::string operator()(const AllIdentities& answer) const {
        std::string line = "all identities " + std::to_string(vel::integerOfStatus(answer.status)) +
                           " at " + std::to_string(answer.moment.time_since_epoch() / seconds(1));
        for (const std::string& certificate : answer.certificates) {
            line += " " + certificate;
        }
        return line;
    }
    std::string operator()(const Trust& answer) const {
        return "trust " + std::to_string(vel::integerOfStatus(answer.created)) + " " + answer.leaf +
               " " + text(answer.anchor) + " " +
               std::to_string(vel::integerOfStatus(answer.anchored)) + " " +
               (answer.isTrusted ? text(*answer.isTrusted) : "(not evaluated)") + " " +
               (answer.error ? std::to_string(answer.error->code()) : "(no error)");
    }
    std::string operator()(const Run& answer) const {
        std::string line = "run " + answer.launchPath;
        for (const std::string& word : answer.command) {
            line += " " + word;
        }
        if (answer.launchFailure) {
            return line + " failed: " + *answer.launchFailure;
        }
        const auto count = [](nanoseconds time) { return std::to_string(time / seconds(1)); };
        line += " for " + count(answer.runningTime);
        if (answer.terminatedAfter) {
            line += " terminated after " + count(*answer.terminatedAfter);
        }
        line += " status " + (answer.status ? std::to_string(*answer.status) : "(not asked)");
        constexpr const char* states[] = {"not read", "complete", "unreadable", "held open"};
        line += std::string(" output ") + states[static_cast<int>(answer.outputState)];
        return line + (answer.output.empty() ? "" : ": " + answer.output) + " after " +
               count(answer.outputTime);
    }
};

class RecordingPlatform : public testing::Test {
protected:
    /// What was kept since the last call.
    std::vector<std::string> lines() const {
        std::vector<std::string> lines;
        for (const VELRecordedAnswer& answer : recording->takeAnswers()) {
            lines.push_back(std::visit(Line(), answer.answer));
        }
        return lines;
    }

    std::shared_ptr<VELSimulatedPlatform> mac = std::make_shared<VELSimulatedPlatform>();
    std::shared_ptr<VELRecording> recording = std::make_shared<VELRecording>();
    VELRecordingPlatform platform{mac, recording};
};

using ToolRun = Run; // a test has a Run of its own
using Lines = std::vector<std::string>;

TEST_F(RecordingPlatform, KeepsRecords) {
    mac->productVersionRecord = "14.5";
    EXPECT_EQ(platform.productVersion(), "14.5");
    EXPECT_EQ(platform.serialNumber(), std::nullopt);
    EXPECT_EQ(lines(), Lines({"version 14.5", "serial (absent)"}));
}

TEST_F(RecordingPlatform, KeepsPreferencesAndFiles) {
    mac->preferenceStore.machine["a"]["key"] = 7;
    mac->fileStore.contents["/there"] = "bytes\xFF";
    mac->fileStore.contents["/unreadable"] = std::nullopt;
    const VELPreferences& preferences = platform.preferences();
    EXPECT_EQ(preferences.copyValue("key", "a", VELPreferencesScope::anyUser), 7);
    EXPECT_EQ(preferences.copyValue("key", "a", VELPreferencesScope::currentUser), std::nullopt);
    EXPECT_EQ(preferences.appIntegerValue("key", "a").value, 7);
    EXPECT_FALSE(preferences.appIntegerValue("other", "a").found);
    for (const char* path : {"/there", "/unreadable", "/absent"}) {
        EXPECT_EQ(platform.files().exists(path), std::string(path) != "/absent");
        EXPECT_EQ(platform.files().read(path).has_value(), std::string(path) == "/there");
    }
    EXPECT_EQ(lines(),
              Lines({"machine a key 7", "user a key (absent)", "integer a key 7",
                     "integer a other (absent)", "exists /there yes", "file /there bytes\xFF",
                     "exists /unreadable yes", "file /unreadable (absent)", "exists /absent no",
                     "file /absent (absent)"}));
}

TEST_F(RecordingPlatform, KeepsDisks) {
    VELSimulatedDisk disk;
    disk.description.emplace();
    disk.description->volumeKind = std::make_shared<const VELValue>("apfs");
    disk.media = {{"Encrypted", true}};
    mac->disks.mounts = {{"apfs", "/", disk, "disk3s1"}, {"nfs", "/net", std::nullopt}};
    {
        const auto session = platform.diskArbitration().createSession();
        EXPECT_EQ(platform.diskArbitration().mountTable()->size(), 2U);
        const auto root = session->diskAtMountPoint("/");
        EXPECT_EQ(*root->copyDescription()->volumeKind, "apfs");
        const auto media = root->copyMedia();
        EXPECT_EQ(media->property("Encrypted"), true);
        EXPECT_EQ(media->property("Role"), std::nullopt);
        EXPECT_EQ(session->diskAtMountPoint("/net"), nullptr);
    }
    EXPECT_EQ(mac->disks.counts.handedOut, 0);
    mac->disks.mounts.reset();
    mac->disks.sessionAvailable = false;
    EXPECT_EQ(platform.diskArbitration().createSession(), nullptr);
    EXPECT_EQ(platform.diskArbitration().mountTable(), std::nullopt);
    EXPECT_EQ(lines(), Lines({"session yes", "mounts apfs:/:disk3s1 nfs:/net", "disk / yes",
                              "description / (absent) (absent) \"apfs\"", "media / yes",
                              "property / Encrypted true", "property / Role (absent)",
                              "disk /net no", "session no", "mounts (absent)"}));
}

TEST_F(RecordingPlatform, KeepsADiskWithoutDescriptionAndMedia) {
    mac->disks.mounts = {{"apfs", "/", VELSimulatedDisk()}};
    const auto disk = platform.diskArbitration().createSession()->diskAtMountPoint("/");
    EXPECT_EQ(disk->copyDescription(), std::nullopt);
    EXPECT_EQ(disk->copyMedia(), nullptr);
    EXPECT_EQ(lines(),
              Lines({"session yes", "disk / yes", "description / (absent)", "media / no"}));
}

TEST_F(RecordingPlatform, KeepsTheKeychainAndTrust) {
    CertificateWorkshop workshop;
    const std::string root = workshop.makeAuthority("Root");
    const std::string leaf = workshop.makeLeaf("Leaf", "Root");
    const std::string other = workshop.makeAuthority("Other");
    mac->keychainStore.date = vel::momentOfText("2030-01-01T00:00:00Z");
    mac->keychainStore.certificateList = {"a", "b"};
    mac->keychainStore.identityList = {
        {.certificate = leaf},
        {.certificate = leaf, .certificateStatus = VELSecurityStatus::parameter},
        {.certificate = leaf, .trustStatus = VELSecurityStatus::allocate},
        {.certificate = leaf, .anchorsStatus = VELSecurityStatus::notAvailable}};
    EXPECT_EQ(platform.keychain().certificates(1).certificates.size(), 1U);
    const auto anchor = platform.certificates().parseCertificate(root);
    const auto wrong = platform.certificates().parseCertificate(other);
    {
        const auto found = platform.keychain().identities(anchor->normalizedSubject().value());
        ASSERT_EQ(found.identities.size(), 4U);
        const auto certificate = found.identities[0]->copyCertificate().certificate;
        const auto created = platform.certificates().createTrust(certificate);
        std::optional<VELError> error;
        EXPECT_EQ(created.trust->setOnlyAnchor(anchor), VELSecurityStatus::success);
        EXPECT_TRUE(created.trust->evaluate(&error));
        EXPECT_EQ(created.trust->setOnlyAnchor(wrong), VELSecurityStatus::success);
        EXPECT_FALSE(created.trust->evaluate(&error));
        EXPECT_EQ(error->code(), -25318);

        EXPECT_EQ(found.identities[1]->copyCertificate().status, VELSecurityStatus::parameter);
        const auto third = found.identities[2]->copyCertificate().certificate;
        EXPECT_EQ(platform.certificates().createTrust(third).status, VELSecurityStatus::allocate);
        const auto fourth = found.identities[3]->copyCertificate().certificate;
        EXPECT_EQ(platform.certificates().createTrust(fourth).trust->setOnlyAnchor(anchor),
                  VELSecurityStatus::notAvailable);
    }
    EXPECT_EQ(mac->keychainStore.counts.handedOut, 0);
    EXPECT_EQ(platform.keychain().identities("none").status, VELSecurityStatus::itemNotFound);
    EXPECT_EQ(lines(), Lines({"certificates 0 a", "identities 0 4", "identity 0 0 " + leaf,
                              "trust 0 " + leaf + " " + root + " 0 yes (no error)",
                              "trust 0 " + leaf + " " + other + " 0 no -25318",
                              "identity 1 -50 (absent)", "identity 2 0 " + leaf,
                              "trust -108 " + leaf + " (absent) 0 (not evaluated) (no error)",
                              "identity 3 0 " + leaf,
                              "trust 0 " + leaf + " " + root + " -25291 (not evaluated) (no error)",
                              "identities -25300 0"}));
}

TEST_F(RecordingPlatform, KeepsAllIdentitiesAndTheTimeOfTheQuestion) {
    mac->keychainStore.date = VELMoment(seconds(1'700'000'000));
    mac->keychainStore.identityList = {{.certificate = "a"}, {.certificate = "b"}};
    EXPECT_EQ(platform.keychain().allIdentities().certificates, Lines({"a", "b"}));
    mac->keychainStore.identityList.clear();
    EXPECT_EQ(platform.keychain().allIdentities().status, VELSecurityStatus::itemNotFound);
    EXPECT_EQ(lines(),
              Lines({"all identities 0 at 1700000000 a b", "all identities -25300 at 1700000000"}));
}

TEST_F(RecordingPlatform, KeepsHowATaskRan) {
    const auto run = [this](VELSimulatedRun described) {
        described.command = {"/tool", "word"};
        mac->tools = {std::move(described)};
        std::optional<VELError> error;
        const auto output =
            runWithTimeout(platform.task("/tool", {"word"}, nullptr), 4, &error, platform);
        return std::pair(output, error ? error->message() : "");
    };
    using Answer = std::pair<std::optional<std::string>, std::string>;
    EXPECT_EQ(run({.output = "out", .seconds = 1}), Answer("out", ""));
    EXPECT_EQ(run({.output = "out", .status = 3}),
              Answer(std::nullopt, "Task /tool exited with status code 3."));
    EXPECT_EQ(run({.launchFailure = "refused"}),
              Answer(std::nullopt, "Error launching task /tool: refused"));
    EXPECT_EQ(run({.seconds = 9}), Answer(std::nullopt, "Task /tool exited with status code 15."));
    EXPECT_EQ(run({.output = "out", .seconds = 9, .ignoresTermination = true}), Answer("out", ""));
    EXPECT_EQ(run({.output = "out", .secondsOutputIsHeld = 2}), Answer("out", ""));
    EXPECT_EQ(run({.output = "out", .secondsOutputIsHeld = 9}), Answer(std::nullopt, ""));
    EXPECT_EQ(run({.output = "out", .outputReadFails = true}), Answer(std::nullopt, ""));
    EXPECT_EQ(run({.statusIsLost = true}),
              Answer(std::nullopt, "Task /tool exited with status code -1."));
    EXPECT_EQ(
        lines(),
        Lines(
            {"run /tool /tool word for 1 status 0 output complete: out after 0",
             "run /tool /tool word for 0 status 3 output not read after 0",
             "run /tool /tool word failed: refused",
             "run /tool /tool word for 4 terminated after 4 status 15 output not read after 0",
             "run /tool /tool word for 9 terminated after 4 status 0 output complete: out after 0",
             "run /tool /tool word for 0 status 0 output complete: out after 2",
             "run /tool /tool word for 0 status 0 output held open after 4",
             "run /tool /tool word for 0 status 0 output unreadable after 0",
             "run /tool /tool word for 0 status -1 output not read after 0"}));
}

TEST_F(RecordingPlatform, KeepsWhatRanBeforeInTheSamePlace) {
    mac->tools = {{.command = {"/a", "b"}, .launchPath = "/opt/a"},
                  {.command = {"/c"}, .after = {"/a", "b"}, .launchFailure = "refused"},
                  {.command = {"/d"}, .after = {"/a", "b"}}};
    const auto place = platform.openWorkingPlace();
    const auto run = [&](const char* tool, std::vector<std::string> arguments,
                         const std::shared_ptr<const VELWorkingPlace>& where) {
        static_cast<void>(
            runWithTimeout(platform.task(tool, std::move(arguments), where), 4, nullptr, platform));
    };
    run("/a", {"b"}, nullptr);
    run("/a", {"b"}, place);
    run("/c", {}, place);
    run("/d", {}, place);
    run("/d", {}, place);
    std::vector<std::vector<std::string>> before;
    std::vector<std::string> paths;
    for (const VELRecordedAnswer& answer : recording->takeAnswers()) {
        before.push_back(std::get<ToolRun>(answer.answer).after);
        paths.push_back(std::get<ToolRun>(answer.answer).launchPath);
    }
    const std::vector<std::string> first = {"/a", "b"};
    EXPECT_EQ(before, (std::vector<std::vector<std::string>>{{}, {}, first, first, {"/d"}}));
    EXPECT_EQ(paths, Lines({"/opt/a", "/opt/a", "/c", "/d", "/d"}));
}

TEST_F(RecordingPlatform, AToolThatNeverEndsIsMissed) {
    mac->tools = {
        {.command = {"/a"}, .output = "x", .pipeCapacity = 0, .ignoresTermination = true}};
    EXPECT_THROW(
        static_cast<void>(runWithTimeout(platform.task("/a", {}, nullptr), 4, nullptr, platform)),
        std::runtime_error);
    EXPECT_FALSE(recording->isComplete());
}

TEST_F(RecordingPlatform, ATimerThatIsNotDueKeepsNoPlatform) {
    auto recorded = std::make_shared<VELSimulatedPlatform>();
    recorded->tools = {{.command = {"/tool"}}};
    {
        const VELRecordingPlatform recorder(recorded, recording);
        std::optional<VELError> error;
        runWithTimeout(recorder.task("/tool", {}, nullptr), 4, &error, recorder);
    }
    EXPECT_EQ(recorded->time.pendingBlocks(), 1U);
    const std::weak_ptr<const VELSimulatedPlatform> left = std::exchange(recorded, nullptr);
    EXPECT_TRUE(left.expired());
}

TEST_F(RecordingPlatform, KeepsWhichEntryAskedAndHowLongItTook) {
    mac->serialNumberDuration = seconds(3);
    static_cast<void>(platform.serialNumber());
    recording->setEntry(7);
    static_cast<void>(platform.productVersion());
    recording->setEntry(std::nullopt);
    static_cast<void>(platform.productVersion());
    const std::vector<VELRecordedAnswer> answers = recording->answers();
    ASSERT_EQ(answers.size(), 3U);
    EXPECT_EQ(answers[0].entry, std::nullopt);
    EXPECT_EQ(answers[0].duration, seconds(3));
    EXPECT_EQ(answers[1].entry, 7U);
    EXPECT_EQ(answers[1].duration, seconds(0));
    EXPECT_EQ(answers[2].entry, std::nullopt);
    EXPECT_TRUE(recording->isComplete());
}

TEST_F(RecordingPlatform, AnAnswerThatCannotBeKeptIsMissedAndHarmsNobody) {
    recording->add(seconds(0), []() -> ProductVersion { throw std::bad_alloc(); });
    EXPECT_FALSE(recording->isComplete());
    EXPECT_EQ(lines(), Lines());
}

TEST_F(RecordingPlatform, AQuestionThatThrowsIsMissed) {
    const VELRecorder recorder(mac, recording);
    EXPECT_THROW(recorder.ask([]() -> bool { throw std::bad_alloc(); },
                              [](bool exists) {
                                  return FileExists{"/", exists};
                              }),
                 std::bad_alloc);
    EXPECT_FALSE(recording->isComplete());
    EXPECT_EQ(lines(), Lines());
}

} // namespace
