// SPDX-License-Identifier: Apache-2.0
//
// The same requests to the same described Macs, through the Mac's own platform.
#include "Tests/Platform/Apple/AppleInVirtualTime.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/DescribedRequests.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using examples::Answer;

Answer ofDescribedMac(const std::string& request, const std::string& machine) {
    return examples::answer(request, examples::machine(machine));
}

Answer ofApple(const std::string& request, const std::string& machine) {
    const auto platform = std::make_shared<AppleInVirtualTime>(examples::machine(machine));
    Answer answer = examples::answer(request, platform);
    EXPECT_EQ(StandInMac::leftAlive(), std::vector<std::string>());
    return answer;
}

TEST(DocumentsOnStandIns, EveryRequestToEveryDescribedMacIsAnsweredAlike) {
    for (const std::string& machine : examples::filesIn("Machines")) {
        for (const std::string& name : examples::filesIn("Requests")) {
            SCOPED_TRACE(name + " on " + machine);
            const std::string request = examples::request(name);
            const Answer expected = ofDescribedMac(request, machine);
            const Answer answer = ofApple(request, machine);
            EXPECT_EQ(answer.result, expected.result);
            ASSERT_EQ(answer.log, expected.log);
            for (std::size_t index = 0; index < answer.log.size(); ++index) {
                EXPECT_EQ(answer.log[index].file, expected.log[index].file);
                EXPECT_EQ(answer.log[index].line, expected.log[index].line);
            }
        }
    }
}

TEST(DocumentsOnStandIns, TheDescribedMacsAskEveryServiceOfTheMac) {
    std::set<std::string> asked;
    for (const std::string& machine : examples::filesIn("Machines")) {
        for (const std::string& name : examples::filesIn("Requests")) {
            standin::failCall(0);
            ofApple(examples::request(name), machine);
            for (const standin::CallMade& call : standin::callsMade()) {
                asked.insert(call.name);
            }
        }
    }
    const std::set<std::string> all = {"CFArrayCreate",
                                       "CFDataCreate",
                                       "CFDictionaryCreate",
                                       "CFErrorCopyDescription",
                                       "CFNumberCreate",
                                       "CFPreferencesCopyValue",
                                       "CFPreferencesGetAppIntegerValue",
                                       "CFStringCreateWithBytes",
                                       "CFURLCreateFromFileSystemRepresentation",
                                       "DADiskCopyDescription",
                                       "DADiskCopyIOMedia",
                                       "DADiskCreateFromVolumePath",
                                       "DASessionCreate",
                                       "IORegistryEntryCreateCFProperty",
                                       "IOServiceGetMatchingService",
                                       "IOServiceMatching",
                                       "SecCertificateCopyData",
                                       "SecCertificateCopyNormalizedSubjectSequence",
                                       "SecCertificateCopySubjectSummary",
                                       "SecCertificateCopyValues",
                                       "SecCertificateCreateWithData",
                                       "SecCopyErrorMessageString",
                                       "SecIdentityCopyCertificate",
                                       "SecItemCopyMatching",
                                       "SecPolicyCreateBasicX509",
                                       "SecTrustCreateWithCertificates",
                                       "SecTrustEvaluateWithError",
                                       "SecTrustSetAnchorCertificates",
                                       "getmntinfo_r_np"};
    EXPECT_EQ(asked, all);
}

/// The one difference: the Mac does not tell a subject without a common name from one that cannot
/// be decoded, and a line of the log shows it.
TEST(DocumentsOnStandIns, ASubjectWithoutCommonNameIsLoggedAsUnknownOnAMac) {
    CertificateWorkshop workshop;
    const std::string der = workshop.make({.name = "nameless", .subject = "/O=Example"});
    const std::string request = R"({"mac": [{"type": "certificatePresent", "sha1": "00"}]})";
    const auto described = [&] {
        auto machine = std::make_shared<VELSimulatedPlatform>();
        machine->keychainStore.certificateList = {der};
        return machine;
    };
    const Answer expected = examples::answer(request, described());
    const Answer answer =
        examples::answer(request, std::make_shared<AppleInVirtualTime>(described()));
    EXPECT_EQ(answer.result, expected.result);
    ASSERT_EQ(answer.log.size(), expected.log.size());
    std::vector<std::string> differences;
    for (std::size_t index = 0; index < answer.log.size(); ++index) {
        if (!(answer.log[index] == expected.log[index])) {
            differences.push_back(expected.log[index].message + " | " + answer.log[index].message);
        }
    }
    EXPECT_EQ(differences, std::vector<std::string>({"SHA1 mismatch for [] (VELArray) | "
                                                     "SHA1 mismatch for (null) ((null))"}));
}

} // namespace
