// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELFileVaultEncryptionCheck.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/Sanitized.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <nlohmann/json.hpp>

namespace {

using Lines = std::vector<LogLine>;
using Media = std::map<std::string, VELValue, std::less<>>;

constexpr const char* scanFunction =
    "-[VELFileVaultEncryptionCheck allInternalOrBootVolumesEncrypted]";

LogLine scanLine(std::int64_t level, const std::string& message) {
    return {level, message, scanFunction};
}

LogLine answer(const std::string& message, const std::string& method) {
    return {1, message, "-[VELFileVaultEncryptionCheck " + method + "]"};
}

LogLine isInternal(int value) {
    return answer("isInternalDisk?: " + std::to_string(value), "isInternalDisk:");
}

LogLine isNTFS(int value) {
    return answer("isNTFSFormattedDisk?: " + std::to_string(value), "isNTFSFormattedDisk:");
}

LogLine isSSV(int value, const std::string& property) {
    return answer("isSSV?: " + std::to_string(value) + " value:" + property, "isSSVVolume:");
}

LogLine isDataRole(int value, const std::string& property) {
    return answer("isDataRole?: " + std::to_string(value) + " value:" + property, "isDataRole:");
}

Lines encryption(int encrypted, int coreStorageEncrypted) {
    const std::string method = "isEncryptedDisk:";
    const int either = encrypted != 0 || coreStorageEncrypted != 0 ? 1 : 0;
    return {answer("Encrypted?: " + std::to_string(encrypted), method),
            answer("CoreStorage Encrypted?: " + std::to_string(coreStorageEncrypted), method),
            answer("isEncryptedDisk?: " + std::to_string(either), method)};
}

Lines joined(std::initializer_list<Lines> parts) {
    Lines all;
    for (const Lines& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::shared_ptr<const VELValue> shared(VELValue value) {
    return std::make_shared<const VELValue>(std::move(value));
}

/// An internal APFS data volume, unsealed and encrypted.
VELSimulatedDisk encryptedDisk() {
    return {VELDiskDescription{shared(true), shared("Apple Fabric"), shared("apfs")},
            Media{{"Sealed", "No"}, {"Role", VELValue::array({"Data"})}, {"Encrypted", true}}};
}

VELSimulatedDisk unencryptedDisk() {
    VELSimulatedDisk disk = encryptedDisk();
    (*disk.media)["Encrypted"] = false;
    return disk;
}

const Lines inScope = {isInternal(1), isNTFS(0), isSSV(0, "No"), isDataRole(1, R"(["Data"])")};

class FileVaultEncryptionCheck : public ::testing::Test {
protected:
    void SetUp() override { VELDTLogger::setLogger(_logger); }
    void TearDown() override {
        VELDTLogger::setLogger(nullptr);
        EXPECT_EQ(disks().counts.handedOut, 0);
    }

    VELSimulatedDisks& disks() { return _platform->disks; }

    void mount(std::initializer_list<VELSimulatedMount> mounts) { disks().mounts = mounts; }

    bool scan() {
        std::optional<VELError> error;
        const bool passes = VELFileVaultEncryptionCheck(_platform).runCheckWithParameters(
            VELValue::parse(R"({"type": "fullDiskEncryption", "Encrypted": true})"), &error);
        EXPECT_FALSE(error);
        return passes;
    }

    /// Scans one volume at "/" and gives the answer; its own lines are then `lines`.
    bool scanOf(const VELSimulatedDisk& disk) {
        mount({{"apfs", "/", disk}});
        const bool passes = scan();
        lines = _logger->take();
        const Lines opening = {scanLine(0, "Disk type 'apfs' mounted at: /"),
                               scanLine(1, "Volume URL: /")};
        EXPECT_EQ(Lines(lines.begin(), lines.begin() + 2), opening);
        lines.erase(lines.begin(), lines.begin() + 2);
        return passes;
    }

    Lines allLines() { return _logger->take(); }

    Lines lines;

private:
    std::shared_ptr<VELSimulatedPlatform> _platform = std::make_shared<VELSimulatedPlatform>();
    std::shared_ptr<RecordingLogger> _logger = std::make_shared<RecordingLogger>();
};

TEST_F(FileVaultEncryptionCheck, FailsAtOnceWithoutASession) {
    disks().sessionAvailable = false;
    mount({{"apfs", "/", encryptedDisk()}});
    EXPECT_FALSE(scan());
    EXPECT_EQ(allLines(), (Lines{scanLine(1, "Failed to create session")}));
    EXPECT_EQ(disks().counts.mountTables, 0U);
}

TEST_F(FileVaultEncryptionCheck, FailsWithoutAMountTable) {
    disks().mounts.reset();
    EXPECT_FALSE(scan());
    EXPECT_EQ(allLines(), (Lines{scanLine(3, "Failed to retrieve getmntinfo volumes list")}));
    EXPECT_EQ(disks().counts.disks, 0U);
}

TEST_F(FileVaultEncryptionCheck, PassesAnEmptyMountTable) {
    EXPECT_TRUE(scan());
    EXPECT_EQ(allLines(), Lines());
    EXPECT_EQ(disks().counts.sessions, 1U);
    EXPECT_EQ(disks().counts.mountTables, 1U);
}

TEST_F(FileVaultEncryptionCheck, PassesAnEncryptedVolumeAfterTwoDescriptionsAndThreeMediaLookUps) {
    EXPECT_TRUE(scanOf(encryptedDisk()));
    EXPECT_EQ(lines, joined({inScope, encryption(1, 0)}));
    EXPECT_EQ(disks().counts.disks, 1U);
    EXPECT_EQ(disks().counts.descriptions, 2U);
    EXPECT_EQ(disks().counts.mediaLookUps, 3U);
    EXPECT_EQ(disks().counts.properties, 4U);
}

TEST_F(FileVaultEncryptionCheck, CoreStorageEncryptionIsEncryption) {
    VELSimulatedDisk disk = unencryptedDisk();
    (*disk.media)["CoreStorage Encrypted"] = true;
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, joined({inScope, encryption(0, 1)}));
}

TEST_F(FileVaultEncryptionCheck, ReadsBothEncryptionPropertiesBeforeItTestsEither) {
    VELSimulatedDisk disk = encryptedDisk();
    (*disk.media)["CoreStorage Encrypted"] = true;
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, joined({inScope, encryption(1, 1)}));
    EXPECT_EQ(disks().counts.properties, 4U);
}

TEST_F(FileVaultEncryptionCheck, AVolumeWithNeitherPropertyIsNotEncrypted) {
    VELSimulatedDisk disk = encryptedDisk();
    disk.media->erase("Encrypted");
    EXPECT_FALSE(scanOf(disk));
    EXPECT_EQ(lines, joined({inScope, encryption(0, 0)}));
}

TEST_F(FileVaultEncryptionCheck, AnExternalVolumeIsOutOfScope) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.description = {shared(false), shared("USB"), shared("apfs")};
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, (Lines{isInternal(0)}));
    EXPECT_EQ(disks().counts.descriptions, 1U);
    EXPECT_EQ(disks().counts.mediaLookUps, 0U);
}

TEST_F(FileVaultEncryptionCheck, ADeviceOnPCIIsInternal) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.description = {shared(false), shared("PCI"), nullptr};
    EXPECT_FALSE(scanOf(disk));
    EXPECT_EQ(lines, joined({inScope, encryption(0, 0)}));
    for (const char* protocol : {"pci", "PCI-Express", " PCI", ""}) {
        disk.description = {nullptr, shared(protocol), nullptr};
        EXPECT_TRUE(scanOf(disk)) << protocol;
        EXPECT_EQ(lines, (Lines{isInternal(0)})) << protocol;
    }
}

TEST_F(FileVaultEncryptionCheck, AnNTFSVolumeIsOutOfScope) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.description->volumeKind = shared("ntfs");
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, (Lines{isInternal(1), isNTFS(1)}));
    EXPECT_EQ(disks().counts.descriptions, 2U);
    EXPECT_EQ(disks().counts.mediaLookUps, 0U);
}

TEST_F(FileVaultEncryptionCheck, OnlyTheKindInSmallLettersIsNTFS) {
    for (const char* kind : {"NTFS", "ntfs3", "Ntfs", ""}) {
        VELSimulatedDisk disk = unencryptedDisk();
        disk.description->volumeKind = shared(kind);
        EXPECT_FALSE(scanOf(disk)) << kind;
        EXPECT_EQ(lines, joined({inScope, encryption(0, 0)})) << kind;
    }
}

TEST_F(FileVaultEncryptionCheck, NoInAnyLetterCaseIsNotSealed) {
    for (const char* sealed : {"No", "no", "NO", "nO"}) {
        VELSimulatedDisk disk = unencryptedDisk();
        (*disk.media)["Sealed"] = sealed;
        EXPECT_FALSE(scanOf(disk)) << sealed;
        EXPECT_EQ(lines, joined({{isInternal(1), isNTFS(0), isSSV(0, sealed),
                                  isDataRole(1, R"(["Data"])")},
                                 encryption(0, 0)}));
    }
}

TEST_F(FileVaultEncryptionCheck, AnyOtherTextIsSealedAndOutOfScope) {
    for (const char* sealed : {"Yes", "Broken", "", "No ", "Nö", "none"}) {
        VELSimulatedDisk disk = unencryptedDisk();
        (*disk.media)["Sealed"] = sealed;
        EXPECT_TRUE(scanOf(disk)) << sealed;
        EXPECT_EQ(lines, (Lines{isInternal(1), isNTFS(0), isSSV(1, sealed)})) << sealed;
    }
    EXPECT_EQ(disks().counts.mediaLookUps, 6U);
}

TEST_F(FileVaultEncryptionCheck, AVolumeWithoutSealedIsNotSealed) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.media->erase("Sealed");
    EXPECT_FALSE(scanOf(disk));
    EXPECT_EQ(lines.at(2), isSSV(0, "(null)"));
}

TEST_F(FileVaultEncryptionCheck, AVolumeInNoDataRoleIsOutOfScope) {
    for (const char* role : {"[]", R"(["System"])", R"(["data"])", R"([1,null,["Data"]])"}) {
        VELSimulatedDisk disk = unencryptedDisk();
        (*disk.media)["Role"] = VELValue::parse(role);
        EXPECT_TRUE(scanOf(disk)) << role;
        EXPECT_EQ(lines, (Lines{isInternal(1), isNTFS(0), isSSV(0, "No"), isDataRole(0, role)}));
    }
    EXPECT_EQ(disks().counts.mediaLookUps, 8U);
}

TEST_F(FileVaultEncryptionCheck, AVolumeWithoutARoleIsOutOfScope) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.media->erase("Role");
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, (Lines{isInternal(1), isNTFS(0), isSSV(0, "No"), isDataRole(0, "(null)")}));
}

TEST_F(FileVaultEncryptionCheck, ADataRoleMayBeOneOfSeveral) {
    VELSimulatedDisk disk = unencryptedDisk();
    (*disk.media)["Role"] = VELValue::array({"System", 1, "Data"});
    EXPECT_FALSE(scanOf(disk));
    EXPECT_EQ(lines.at(3), isDataRole(1, R"(["System",1,"Data"])"));
}

TEST_F(FileVaultEncryptionCheck, APropertyOfAWrongTypeIsLoggedAsAbsent) {
    VELSimulatedDisk disk = unencryptedDisk();
    (*disk.media)["Sealed"] = true;
    (*disk.media)["Encrypted"] = 1;
    (*disk.media)["CoreStorage Encrypted"] = "true";
    EXPECT_FALSE(scanOf(disk));
    EXPECT_EQ(lines,
              joined({{isInternal(1), isNTFS(0), isSSV(0, "(null)"), isDataRole(1, R"(["Data"])")},
                      encryption(0, 0)}));
    (*disk.media)["Role"] = "Data";
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines.back(), isDataRole(0, "(null)"));
}

TEST_F(FileVaultEncryptionCheck, ExaminesEveryVolumeAlsoAfterOneThatIsNotEncrypted) {
    mount({{"apfs", "/", unencryptedDisk()}, {"hfs", "/Volumes/Zwei Öfen", encryptedDisk()}});
    EXPECT_FALSE(scan());
    EXPECT_EQ(allLines(), joined({{scanLine(0, "Disk type 'apfs' mounted at: /"),
                                   scanLine(0, "Disk type 'hfs' mounted at: /Volumes/Zwei Öfen"),
                                   scanLine(1, "Volume URL: /")},
                                  inScope,
                                  encryption(0, 0),
                                  {scanLine(1, "Volume URL: /Volumes/Zwei Öfen")},
                                  inScope,
                                  encryption(1, 0)}));
    EXPECT_EQ(disks().counts.descriptions, 4U);
    EXPECT_EQ(disks().counts.mediaLookUps, 6U);
}

TEST_F(FileVaultEncryptionCheck, AMountPointWithoutADiskIsIgnored) {
    mount({{"devfs", "/dev", std::nullopt}, {"apfs", "/", encryptedDisk()}});
    EXPECT_TRUE(scan());
    EXPECT_EQ(
        allLines(),
        joined({{scanLine(0, "Disk type 'devfs' mounted at: /dev"),
                 scanLine(0, "Disk type 'apfs' mounted at: /"), scanLine(1, "Volume URL: /dev"),
                 scanLine(1, "Failed to create disk"), scanLine(1, "Volume URL: /")},
                inScope,
                encryption(1, 0)}));
}

TEST_F(FileVaultEncryptionCheck, ADiskWithoutADescriptionIsNotInternal) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.description.reset();
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines, (Lines{isInternal(0)}));
}

TEST_F(FileVaultEncryptionCheck, ADiskWithoutAMediaObjectIsInNoDataRole) {
    VELSimulatedDisk disk = unencryptedDisk();
    disk.media.reset();
    EXPECT_TRUE(scanOf(disk));
    EXPECT_EQ(lines,
              (Lines{isInternal(1), isNTFS(0), isSSV(0, "(null)"), isDataRole(0, "(null)")}));
    EXPECT_EQ(disks().counts.mediaLookUps, 2U);
}

TEST_F(FileVaultEncryptionCheck, AMountPointThatIsNotUTF8IsListedAndSkipped) {
    mount({{"apfs", "/\xFF", unencryptedDisk()}, {"apfs", "/", encryptedDisk()}});
    EXPECT_TRUE(scan());
    EXPECT_EQ(allLines(),
              joined({{scanLine(0, "Disk type 'apfs' mounted at: /\uFFFD"),
                       scanLine(0, "Disk type 'apfs' mounted at: /"), scanLine(1, "Volume URL: /")},
                      inScope,
                      encryption(1, 0)}));
    EXPECT_EQ(disks().counts.disks, 1U);
}

TEST_F(FileVaultEncryptionCheck, NothingIsKeptFromOneScanToTheNext) {
    mount({{"apfs", "/", encryptedDisk()}});
    EXPECT_TRUE(scan());
    mount({{"apfs", "/", unencryptedDisk()}});
    EXPECT_FALSE(scan());
    EXPECT_EQ(disks().counts.sessions, 2U);
    EXPECT_EQ(disks().counts.mountTables, 2U);
    EXPECT_EQ(disks().counts.descriptions, 4U);
    EXPECT_EQ(disks().counts.mediaLookUps, 6U);
}

/// A value that a disk may give, absent included, and what a person says that it means.
struct Given {
    std::optional<VELValue> value;
    bool holds;
};

const std::vector<Given> internals = {
    {std::nullopt, false}, {true, true}, {false, false}, {1, true}, {0, false}, {"true", false}};
const std::vector<Given> protocols = {
    {std::nullopt, false}, {"PCI", true}, {"pci", false}, {"USB", false}, {true, false}};
const std::vector<Given> kinds = {{std::nullopt, false},
                                  {"ntfs", true},
                                  {"NTFS", false},
                                  {"apfs", false},
                                  {VELValue::array({"ntfs"}), false}};
const std::vector<Given> seals = {{std::nullopt, false}, {"No", false}, {"nO", false},
                                  {"Yes", true},         {"", true},    {true, false},
                                  {nullptr, false}};
const std::vector<Given> roles = {{std::nullopt, false},
                                  {VELValue::array(), false},
                                  {VELValue::array({"Data"}), true},
                                  {VELValue::array({"System"}), false},
                                  {VELValue::array({7, "Data"}), true},
                                  {VELValue::array({"data"}), false},
                                  {"Data", false}};
const std::vector<Given> encryptions = {
    {std::nullopt, false}, {true, true}, {false, false}, {1, false}, {"true", false}};

struct DescriptionCase {
    std::optional<VELDiskDescription> description;
    bool internal = false;
    bool ntfs = false;
};

struct MediaCase {
    std::optional<Media> media;
    bool sealed = false;
    bool data = false;
    bool encrypted = false;
};

std::vector<DescriptionCase> everyDescription() {
    const auto sharedValue = [](const Given& given) {
        return given.value ? shared(*given.value) : nullptr;
    };
    std::vector<DescriptionCase> cases = {{}};
    for (const Given& internal : internals) {
        for (const Given& protocol : protocols) {
            for (const Given& kind : kinds) {
                cases.push_back({VELDiskDescription{sharedValue(internal), sharedValue(protocol),
                                                    sharedValue(kind)},
                                 internal.holds || protocol.holds, kind.holds});
            }
        }
    }
    return cases;
}

std::vector<MediaCase> everyMedia() {
    std::vector<MediaCase> cases = {{}};
    for (const Given& sealed : seals) {
        for (const Given& role : roles) {
            for (const Given& encrypted : encryptions) {
                for (const Given& coreStorage : encryptions) {
                    MediaCase& added = cases.emplace_back();
                    added.media.emplace();
                    const auto give = [&added](const char* name, const Given& given) {
                        if (given.value) {
                            added.media->emplace(name, *given.value);
                        }
                    };
                    give("Sealed", sealed);
                    give("Role", role);
                    give("Encrypted", encrypted);
                    give("CoreStorage Encrypted", coreStorage);
                    added.sealed = sealed.holds;
                    added.data = role.holds;
                    added.encrypted = encrypted.holds || coreStorage.holds;
                }
            }
        }
    }
    return cases;
}

/// How often a volume is asked: for its description and for its media object.
struct Asked {
    unsigned descriptions;
    unsigned mediaLookUps;

    friend bool operator==(const Asked&, const Asked&) = default;
};

/// Where the volume leaves the chain of questions.
Asked expectedQuestions(const DescriptionCase& description, const MediaCase& media) {
    if (!description.internal) {
        return {1, 0};
    }
    if (description.ntfs) {
        return {2, 0};
    }
    if (media.sealed) {
        return {2, 1};
    }
    return {2, media.data ? 3U : 2U};
}

/// Scans whatever is there and gives back how often it was asked.
Asked scanAndCount(const std::shared_ptr<VELSimulatedPlatform>& platform, bool& passes) {
    VELSimulatedDisks::Counts& counts = platform->disks.counts;
    counts.descriptions = 0;
    counts.mediaLookUps = 0;
    passes = VELFileVaultEncryptionCheck(platform).allInternalOrBootVolumesEncrypted();
    return {counts.descriptions, counts.mediaLookUps};
}

TEST(FileVaultEncryptionCheckTable, EveryCombinationPassesOrFailsAsTheRuleSays) {
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    VELSimulatedDisks& disks = platform->disks;
    const std::vector<MediaCase> mediaCases = everyMedia();
    unsigned combinations = 0;
    unsigned failures = 0;
    for (const DescriptionCase& description : everyDescription()) {
        for (const MediaCase& media : mediaCases) {
            const bool protectedOrOut = !description.internal || description.ntfs || media.sealed ||
                                        !media.data || media.encrypted;
            failures += protectedOrOut ? 0 : 1;
            if (combinations++ % sampleStep != 0) {
                continue;
            }
            disks.mounts = {{"apfs", "/", VELSimulatedDisk{description.description, media.media}}};
            bool passes = false;
            const Asked asked = scanAndCount(platform, passes);
            ASSERT_EQ(passes, protectedOrOut) << "in combination " << combinations;
            ASSERT_EQ(asked, expectedQuestions(description, media)) << combinations;
            ASSERT_EQ(disks.counts.handedOut, 0);
        }
    }
    EXPECT_EQ(combinations, 151U * 1226U);
    // Internal and not NTFS: 14 of 30 by 4 of 5; unsealed data: 5 by 2; unencrypted: 4 by 4.
    EXPECT_EQ(failures, 14U * 4U * 5U * 2U * 16U);
}

TEST(FileVaultEncryptionCheckTable, ANumberIsInternalUnlessItIsZero) {
    const std::vector<Given> numbers = {
        {1, true},    {-1, true},       {0.5, true},
        {0, false},   {0.0, false},     {-0.0, false},
        {"1", false}, {nullptr, false}, {VELValue::array({1}), false}};
    for (const Given& number : numbers) {
        const auto platform = std::make_shared<VELSimulatedPlatform>();
        VELSimulatedDisk disk = unencryptedDisk();
        disk.description->deviceInternal = shared(*number.value);
        disk.description->deviceProtocol = shared("USB");
        platform->disks.mounts = {{"apfs", "/", disk}};
        EXPECT_EQ(VELFileVaultEncryptionCheck(platform).allInternalOrBootVolumesEncrypted(),
                  !number.holds)
            << *number.value;
    }
}

TEST(FileVaultEncryptionCheckTable, SessionTableAndDiskObjectComeBeforeWhatADiskSays) {
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    VELSimulatedDisks& disks = platform->disks;
    const VELSimulatedMount safe = {"apfs", "/", encryptedDisk()};
    const VELSimulatedMount unsafe = {"apfs", "/a", unencryptedDisk()};
    const VELSimulatedMount diskless = {"devfs", "/b", std::nullopt};
    struct Table {
        std::optional<std::vector<VELSimulatedMount>> mounts;
        bool passes;
    };
    const std::vector<Table> tables = {
        {std::nullopt, false},
        {std::vector<VELSimulatedMount>{}, true},
        {{{diskless}}, true},
        {{{safe}}, true},
        {{{unsafe}}, false},
        {{{unsafe, safe}}, false},
        {{{safe, unsafe}}, false},
        {{{diskless, safe}}, true},
        {{{diskless, unsafe, diskless}}, false},
    };
    for (const bool session : {true, false}) {
        for (const Table& table : tables) {
            disks.sessionAvailable = session;
            disks.mounts = table.mounts;
            EXPECT_EQ(VELFileVaultEncryptionCheck(platform).allInternalOrBootVolumesEncrypted(),
                      session && table.passes);
            EXPECT_EQ(disks.counts.handedOut, 0);
        }
    }
}

} // namespace
