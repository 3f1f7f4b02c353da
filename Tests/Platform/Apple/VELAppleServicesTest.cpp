// SPDX-License-Identifier: Apache-2.0
//
// What the Mac's platform asks of the services, and what it makes of odd answers.
#include "Base/VELMoment.h"
#include "Platform/Apple/VELCFReference.h"
#include "Tests/Platform/Apple/AppleOnStandIns.h"
#include "Tests/Platform/Apple/StandIns/StandInValues.h"
#include "Tests/Support/AllocationCount.h"
#include "Tests/Support/CertificateWorkshop.h"

#include <Security/Security.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <malloc.h>
#include <vector>

namespace {

using Bytes = std::vector<std::string>;
using enum VELSecurityStatus;

class VELAppleServicesTest : public ::testing::Test {
protected:
    ~VELAppleServicesTest() override { EXPECT_EQ(StandInMac::leftAlive(), Bytes()); }

    const VELPlatform& platform() const { return machine.platform(); }
    VELSimulatedPlatform& described() const { return machine.mac.described; }

    /// The call answers a new object made of `value`.
    void answer(const char* call, const VELValue& value) {
        machine.mac.answers[call] = [value] { return standin::copyValue(value); };
    }

    AppleOnStandIns machine;
};

using VELAppleKeychainTest = VELAppleServicesTest;

TEST_F(VELAppleKeychainTest, CertificatesAreAskedForByThreeKeys) {
    EXPECT_EQ(platform().keychain().certificates(1000).status, itemNotFound);
    EXPECT_EQ(platform().keychain().certificates(std::numeric_limits<std::size_t>::max()).status,
              itemNotFound);
    ASSERT_EQ(machine.mac.queries.size(), 2U);
    EXPECT_EQ(machine.mac.queries[0], VELValue({{"kSecClass", "kSecClassCertificate"},
                                                {"kSecMatchLimit", 1000},
                                                {"kSecReturnData", true}}));
    EXPECT_EQ(machine.mac.queries[1].at("kSecMatchLimit"),
              std::numeric_limits<std::int64_t>::max());
}

TEST_F(VELAppleKeychainTest, IdentitiesAreAskedForByFiveKeys) {
    EXPECT_EQ(platform().keychain().identities("\x30\x01\xFF").status, itemNotFound);
    EXPECT_EQ(machine.mac.queries,
              std::vector<VELValue>({{{"kSecClass", "kSecClassIdentity"},
                                      {"kSecMatchLimit", "kSecMatchLimitAll"},
                                      {"kSecReturnRef", true},
                                      {"kSecMatchIssuers", VELValue::array({"3001ff"})},
                                      {"kSecMatchValidOnDate", nullptr}}}));
}

TEST_F(VELAppleKeychainTest, TheLimitHoldsForAllKeychainsTogether) {
    described().keychainStore.certificateList = {"a", "b", "c"};
    machine.mac.furtherCertificates = {"d", "e"};
    const auto upTo = [&](std::size_t limit) {
        return platform().keychain().certificates(limit).certificates;
    };
    EXPECT_EQ(upTo(9), Bytes({"a", "b", "c", "d", "e"}));
    EXPECT_EQ(upTo(4), Bytes({"a", "b", "c", "d"}));
    EXPECT_EQ(upTo(2), Bytes({"a", "b"}));
}

TEST_F(VELAppleKeychainTest, OneCertificateAtMostIsAnsweredWithoutAList) {
    described().keychainStore.certificateList = {"a", "b"};
    const auto found = platform().keychain().certificates(1);
    EXPECT_EQ(found.status, success);
    EXPECT_EQ(found.certificates, Bytes({"a"}));
}

TEST_F(VELAppleKeychainTest, OneCertificateAtMostMayBeAnsweredInAList) {
    machine.mac.answers["SecItemCopyMatching"] = [] {
        CFTypeRef certificate = standin::copyData("a");
        const CFArrayRef list =
            CFArrayCreate(kCFAllocatorDefault, &certificate, 1, &kCFTypeArrayCallBacks);
        CFRelease(certificate);
        return list;
    };
    const auto found = platform().keychain().certificates(1);
    EXPECT_EQ(found.status, success);
    EXPECT_EQ(found.certificates, Bytes({"a"}));
}

TEST_F(VELAppleKeychainTest, ManyCertificatesAreNotAnsweredWithoutAList) {
    machine.mac.answers["SecItemCopyMatching"] = [] { return standin::copyData("a"); };
    EXPECT_EQ(platform().keychain().certificates(2).status, internalComponent);
}

TEST_F(VELAppleKeychainTest, AnAnswerOfAnotherTypeIsAnInternalFailure) {
    for (const VELValue& odd : {VELValue("text"), VELValue(1), VELValue::object(),
                                VELValue::array({"text"}), VELValue::array({nullptr})}) {
        answer("SecItemCopyMatching", odd);
        const auto certificates = platform().keychain().certificates(1000);
        EXPECT_EQ(certificates.status, internalComponent) << odd;
        EXPECT_EQ(certificates.certificates, Bytes()) << odd;
        const auto identities = platform().keychain().identities("\x30");
        EXPECT_EQ(identities.status, internalComponent) << odd;
        EXPECT_TRUE(identities.identities.empty()) << odd;
    }
    answer("SecItemCopyMatching", VELValue("text"));
    EXPECT_EQ(platform().keychain().certificates(1).status, internalComponent);
}

TEST_F(VELAppleKeychainTest, AnEmptyListIsNothingFound) {
    answer("SecItemCopyMatching", VELValue::array());
    EXPECT_EQ(platform().keychain().certificates(1000).status, itemNotFound);
    EXPECT_EQ(platform().keychain().identities("\x30").status, itemNotFound);
}

TEST_F(VELAppleKeychainTest, AStatusOfTheSystemIsHandedOn) {
    described().keychainStore.certificatesStatus = VELSecurityStatus{-25308};
    described().keychainStore.identitiesStatus = VELSecurityStatus{-34018};
    EXPECT_EQ(platform().keychain().certificates(9).status, VELSecurityStatus{-25308});
    EXPECT_EQ(platform().keychain().identities("\x30").status, VELSecurityStatus{-34018});
}

TEST_F(VELAppleKeychainTest, StatusesOfOneIdentityAreHandedOn) {
    CertificateWorkshop workshop;
    const std::string root = workshop.makeAuthority("Root");
    described().keychainStore.date = vel::momentOfText("2030-01-01T00:00:00Z").value();
    described().keychainStore.identityList = {
        {.certificate = workshop.makeLeaf("One", "Root"),
         .certificateStatus = VELSecurityStatus{-25308}},
        {.certificate = workshop.makeLeaf("Two", "Root"), .trustStatus = VELSecurityStatus{-7}},
        {.certificate = workshop.makeLeaf("Three", "Root"), .anchorsStatus = VELSecurityStatus{-8}},
    };
    const auto anchor = platform().certificates().parseCertificate(root);
    const auto found = platform().keychain().identities(anchor->normalizedSubject().value());
    ASSERT_EQ(found.identities.size(), 3U);
    const auto one = found.identities[0]->copyCertificate();
    EXPECT_EQ(one.status, VELSecurityStatus{-25308});
    EXPECT_EQ(one.certificate, nullptr);
    const auto two =
        platform().certificates().createTrust(found.identities[1]->copyCertificate().certificate);
    EXPECT_EQ(two.status, VELSecurityStatus{-7});
    EXPECT_EQ(two.trust, nullptr);
    const auto three =
        platform().certificates().createTrust(found.identities[2]->copyCertificate().certificate);
    EXPECT_EQ(three.status, success);
    EXPECT_EQ(three.trust->setOnlyAnchor(anchor), VELSecurityStatus{-8});
}

using VELAppleCertificateTest = VELAppleServicesTest;

TEST_F(VELAppleCertificateTest, CommonNamesOfAnotherTypeAreAbsent) {
    CertificateWorkshop workshop;
    const std::string der = workshop.makeAuthority("Root");
    const auto names = [&] { return platform().certificates().commonNames(der); };
    EXPECT_EQ(names(), Bytes({"Root"}));
    for (const char* odd :
         {R"({})", R"({"2.5.4.3": "Root"})", R"({"2.5.4.3": {"label": "CN"}})",
          R"({"2.5.4.3": {"value": "Root"}})", R"({"2.5.4.3": {"value": ["Root", 1]}})"}) {
        answer("SecCertificateCopyValues", VELValue::parse(odd));
        EXPECT_EQ(names(), std::nullopt) << odd;
    }
}

TEST_F(VELAppleCertificateTest, ASubjectWithoutCommonNameIsAbsent) {
    CertificateWorkshop workshop;
    const std::string der = workshop.make({.name = "nameless", .subject = "/O=Example"});
    EXPECT_EQ(platform().certificates().commonNames(der), std::nullopt);
    EXPECT_EQ(platform().certificates().parseCertificate(der)->commonNames(), std::nullopt);
}

using VELApplePreferencesTest = VELAppleServicesTest;

TEST_F(VELApplePreferencesTest, ATextThatIsWhollyAnIntegerIsOne) {
    const auto integer = [&](const VELValue& value) {
        described().preferenceStore.machine["com.apple.alf"]["globalstate"] = value;
        const auto found = platform().preferences().appIntegerValue("globalstate", "com.apple.alf");
        EXPECT_TRUE(found.found || found.value == 0);
        return found.found ? std::optional(found.value) : std::nullopt;
    };
    EXPECT_EQ(integer("1"), 1);
    EXPECT_EQ(integer(" 2"), 2);
    EXPECT_EQ(integer("1099511627776"), 2147483647);
    EXPECT_EQ(integer("1x"), std::nullopt);
    EXPECT_EQ(integer(""), std::nullopt);
    EXPECT_EQ(integer(true), std::nullopt);
    EXPECT_EQ(integer(1.0), std::nullopt);
}

TEST_F(VELApplePreferencesTest, TheUsersIntegerComesFirst) {
    described().preferenceStore.machine["com.apple.alf"]["globalstate"] = 0;
    described().preferenceStore.user["com.apple.alf"]["globalstate"] = 2;
    EXPECT_EQ(platform().preferences().appIntegerValue("globalstate", "com.apple.alf").value, 2);
}

TEST_F(VELApplePreferencesTest, NamesThatAreNotUTF8AreAbsent) {
    described().preferenceStore.machine["app"]["key"] = 1;
    const auto& preferences = platform().preferences();
    EXPECT_EQ(preferences.copyValue("\xFF", "app", VELPreferencesScope::anyUser), std::nullopt);
    EXPECT_EQ(preferences.copyValue("key", "\xFF", VELPreferencesScope::anyUser), std::nullopt);
    EXPECT_FALSE(preferences.appIntegerValue("\xFF", "app").found);
    EXPECT_FALSE(preferences.appIntegerValue("key", "\xFF").found);
}

using VELAppleSerialNumberTest = VELAppleServicesTest;

TEST_F(VELAppleSerialNumberTest, ASerialNumberThatIsNoTextIsAbsent) {
    described().hardwareSerialNumber = "C02EXAMPLE";
    EXPECT_EQ(platform().serialNumber(), "C02EXAMPLE");
    described().hardwareSerialNumber = "";
    EXPECT_EQ(platform().serialNumber(), "");
    for (const VELValue& odd : {VELValue(7), VELValue(true), VELValue::array({"C02"})}) {
        answer("IORegistryEntryCreateCFProperty", odd);
        EXPECT_EQ(platform().serialNumber(), std::nullopt) << odd;
    }
}

using VELAppleProductVersionTest = VELAppleServicesTest;

TEST_F(VELAppleProductVersionTest, ARecordWithoutAVersionIsAbsent) {
    const std::string path = "/System/Library/CoreServices/SystemVersion.plist";
    machine.setProductVersion("14.5");
    EXPECT_EQ(platform().productVersion(), "14.5");
    for (const std::string& record :
         {std::string("garbage"), std::string(), propertyListXML({{"ProductVersion", 14}}),
          propertyListXML({{"ProductName", "macOS"}}), std::string("{ ProductVersion = 14; }")}) {
        machine.setFile(path, record);
        EXPECT_EQ(platform().productVersion(), std::nullopt) << record;
    }
}

using VELAppleDisksTest = VELAppleServicesTest;

TEST_F(VELAppleDisksTest, WithoutTheServiceThereIsNoSession) {
    described().disks.sessionAvailable = false;
    EXPECT_EQ(platform().diskArbitration().createSession(), nullptr);
}

TEST_F(VELAppleDisksTest, TextsOfTheMountTableEndWithTheirArrays) {
    described().disks.mounts = {{std::string(16, 't'), std::string(2000, 'p'), std::nullopt},
                                {"apfs", "/", std::nullopt, std::string(2000, 'd')}};
    const auto table = platform().diskArbitration().mountTable().value();
    ASSERT_EQ(table.size(), 2U);
    EXPECT_EQ(table[0].fileSystemType, std::string(16, 't'));
    EXPECT_EQ(table[0].mountPoint, std::string(1024, 'p'));
    EXPECT_EQ(table[1].fileSystemType, "apfs");
    EXPECT_EQ(table[1].mountPoint, "/");
    EXPECT_EQ(table[1].device, std::string(1024 - 5, 'd')) << "behind /dev/";
}

TEST_F(VELAppleDisksTest, TheMountTableIsFreed) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "the sanitizer finds what is not freed";
    }
    described().disks.mounts->assign(100, {"apfs", "/", std::nullopt});
    const auto before = ::mallinfo2().uordblks;
    for (int round = 0; round < 100; ++round) {
        EXPECT_EQ(platform().diskArbitration().mountTable()->size(), 100U);
    }
    const auto after = ::mallinfo2().uordblks;
    EXPECT_LT(after, before + 5'000'000) << "each table has a hundred thousand bytes";
}

TEST_F(VELAppleDisksTest, AMountTableWithoutEntriesIsEmpty) {
    EXPECT_EQ(platform().diskArbitration().mountTable()->size(), 0U);
}

TEST_F(VELAppleDisksTest, OddValuesOfADescriptionAreKeptOrAbsent) {
    const auto value = [](VELValue content) {
        return std::make_shared<const VELValue>(std::move(content));
    };
    described().disks.mounts = {
        {"apfs", "/",
         VELSimulatedDisk{VELDiskDescription{value(1), value(nullptr), nullptr}, std::nullopt}},
        {"apfs", "/undescribed", VELSimulatedDisk{std::nullopt, std::nullopt}}};
    const auto session = platform().diskArbitration().createSession();
    const auto description = session->diskAtMountPoint("/")->copyDescription().value();
    EXPECT_EQ(*description.deviceInternal, VELValue(1));
    EXPECT_EQ(description.deviceProtocol, nullptr);
    EXPECT_EQ(description.volumeKind, nullptr);
    EXPECT_EQ(session->diskAtMountPoint("/undescribed")->copyDescription(), std::nullopt);
    EXPECT_EQ(session->diskAtMountPoint("/undescribed")->copyMedia(), nullptr);
}

TEST_F(VELAppleDisksTest, APropertyThatCanNotBeReadIsAbsent) {
    described().disks.mounts = {
        {"apfs", "/", VELSimulatedDisk{std::nullopt, {{{"Role", VELValue::array({"Data"})}}}}}};
    const auto media =
        platform().diskArbitration().createSession()->diskAtMountPoint("/")->copyMedia();
    EXPECT_EQ(media->property("Role"), std::optional(VELValue::array({"Data"})));
    EXPECT_EQ(media->property("\xFF"), std::nullopt);
    answer("IORegistryEntryCreateCFProperty", VELValue::array({"Data", nullptr}));
    EXPECT_EQ(media->property("Role"), std::nullopt);
}

/// What a disk hands out may be kept longer than the disk, and a disk longer than its session.
TEST_F(VELAppleDisksTest, WhatIsHandedOutLivesForItself) {
    described().disks.mounts = {
        {"apfs", "/", VELSimulatedDisk{std::nullopt, {{{"Encrypted", true}}}}}};
    auto session = platform().diskArbitration().createSession();
    auto disk = session->diskAtMountPoint("/");
    session.reset();
    const auto media = disk->copyMedia();
    disk.reset();
    EXPECT_EQ(media->property("Encrypted"), std::optional<VELValue>(true));
}

using VELAppleReferencesTest = VELAppleServicesTest;

TEST_F(VELAppleReferencesTest, AdoptRetainOutAndMove) {
    using Reference = VELCFReference<CFStringRef>;
    {
        const auto first = Reference::adopt(standin::copyString("text"));
        auto second = Reference::retain(first.get());
        EXPECT_EQ(StandInMac::leftAlive(), Bytes({"CFString"}));
        Reference third = std::move(second);
        EXPECT_FALSE(second); // NOLINT(bugprone-use-after-move)
        third = Reference::adopt(standin::copyString("other"));
        EXPECT_EQ(StandInMac::leftAlive(), Bytes({"CFString", "CFString"}));
        *third.out() = standin::copyString("third");
        EXPECT_EQ(standin::textOf(third.get()), "third");
        EXPECT_EQ(StandInMac::leftAlive(), Bytes({"CFString", "CFString"}));
        Reference& same = third;
        third = std::move(same);
        EXPECT_EQ(standin::textOf(third.get()), "third");
    }
    EXPECT_FALSE(Reference::adopt(nullptr));
    EXPECT_FALSE(Reference::retain(nullptr));
    EXPECT_FALSE(Reference());
}

} // namespace
