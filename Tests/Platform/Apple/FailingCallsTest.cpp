// SPDX-License-Identifier: Apache-2.0
//
// Each call of a Mac's service that may fail, failed in turn: nothing is left alive, nothing
// crashes, and no failure makes a YES.
#include "Tests/Platform/Apple/AppleInVirtualTime.h"
#include "Tests/Platform/Apple/StandIns/StandInObjects.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/Sanitized.h"

#include <gtest/gtest.h>

#include <new>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <map>
#include <set>

namespace {

using standin::Failure;
using Lines = std::vector<std::string>;

std::string statusText(VELSecurityStatus status) {
    return "status " + std::to_string(vel::integerOfStatus(status));
}

std::string textOf(const std::optional<std::string>& text) {
    return text ? "value" : "absent";
}

template <typename Pointer> std::string textOf(const Pointer& pointer) {
    return pointer != nullptr ? "value" : "null";
}

class FailingCalls : public ::testing::Test {
protected:
    FailingCalls() {
        CertificateWorkshop workshop;
        root = workshop.makeAuthority("Root");
        leaf = workshop.makeLeaf("Leaf", "Root");
        other = workshop.makeAuthority("Other");
        auto& described = machine.mac.described;
        described.hardwareSerialNumber = "C02EXAMPLE";
        described.preferenceStore.machine["app"]["key"] = "text";
        described.preferenceStore.user["app"]["key"] = 7;
        described.disks.mounts = {
            {"apfs", "/",
             VELSimulatedDisk{
                 VELDiskDescription{std::make_shared<const VELValue>(true), nullptr, nullptr},
                 {{{"Role", VELValue::array({"Data"})}}}}}};
        described.keychainStore.date = vel::momentOfText("2030-01-01T00:00:00Z").value();
        described.keychainStore.certificateList = {root, leaf};
        described.keychainStore.identityList = {{.certificate = leaf}};
    }

    std::string root;
    std::string leaf;
    std::string other;
    AppleOnStandIns machine;

    std::unique_ptr<VELDisk> disk() const {
        return machine.platform().diskArbitration().createSession()->diskAtMountPoint("/");
    }
    std::shared_ptr<const VELCertificate> parsed(const std::string& der) const {
        return machine.platform().certificates().parseCertificate(der);
    }
    std::string issuer() const { return parsed(root)->normalizedSubject().value(); }
    std::shared_ptr<VELTrust> trust(const std::string& anchor) const {
        auto made = machine.platform().certificates().createTrust(parsed(leaf));
        EXPECT_EQ(made.trust->setOnlyAnchor(parsed(anchor)), VELSecurityStatus::success);
        return std::move(made.trust);
    }
    static std::string evaluated(VELTrust& trust) {
        std::optional<VELError> error;
        if (trust.evaluate(&error)) {
            return "trusted";
        }
        return "untrusted " + error->domain() + " " + std::to_string(error->code()) + " " +
               error->message();
    }

    std::vector<std::pair<std::string, std::function<std::string()>>> operations() const;
};

std::vector<std::pair<std::string, std::function<std::string()>>> FailingCalls::operations() const {
    const VELPlatform& platform = machine.platform();
    const auto preference = [&](VELPreferencesScope scope) {
        return [&platform, scope] {
            return platform.preferences().copyValue("key", "app", scope) ? "value" : "absent";
        };
    };
    return {
        {"copyValue of any user", preference(VELPreferencesScope::anyUser)},
        {"copyValue of the user", preference(VELPreferencesScope::currentUser)},
        {"appIntegerValue",
         [&platform] {
             const auto found = platform.preferences().appIntegerValue("key", "app");
             return (found.found ? "found " : "not found ") + std::to_string(found.value);
         }},
        {"serialNumber", [&platform] { return textOf(platform.serialNumber()); }},
        {"createSession",
         [&platform] { return textOf(platform.diskArbitration().createSession()); }},
        {"mountTable",
         [&platform] {
             const auto table = platform.diskArbitration().mountTable();
             return table ? std::to_string(table->size()) + " mounts" : "absent";
         }},
        {"diskAtMountPoint",
         [session = std::shared_ptr(platform.diskArbitration().createSession())] {
             return textOf(session->diskAtMountPoint("/"));
         }},
        {"copyDescription",
         [disk = std::shared_ptr(disk())] {
             const auto description = disk->copyDescription();
             return description ? "internal: " + textOf(description->deviceInternal) : "absent";
         }},
        {"copyMedia", [disk = std::shared_ptr(disk())] { return textOf(disk->copyMedia()); }},
        {"property",
         [media = std::shared_ptr(disk()->copyMedia())] {
             return media->property("Role") ? "value" : "absent";
         }},
        {"certificates",
         [&platform] {
             const auto found = platform.keychain().certificates(1000);
             return statusText(found.status) + ", " + std::to_string(found.certificates.size());
         }},
        {"identities",
         [&platform, issuer = issuer()] {
             const auto found = platform.keychain().identities(issuer);
             return statusText(found.status) + ", " + std::to_string(found.identities.size());
         }},
        {"copyCertificate",
         [found = std::make_shared<VELKeychain::IdentitiesResult>(
              platform.keychain().identities(issuer()))] {
             const auto copied = found->identities.front()->copyCertificate();
             return statusText(copied.status) + ", " + textOf(copied.certificate);
         }},
        {"statusText",
         [&platform] { return platform.keychain().statusText(VELSecurityStatus::itemNotFound); }},
        {"parseCertificate", [this] { return textOf(parsed(leaf)); }},
        {"commonNames of bytes",
         [&platform, this] {
             return platform.certificates().commonNames(leaf) ? "value" : "absent";
         }},
        {"commonNames",
         [certificate = parsed(leaf)] { return certificate->commonNames() ? "value" : "absent"; }},
        {"normalizedSubject",
         [certificate = parsed(leaf)] { return textOf(certificate->normalizedSubject()); }},
        {"subjectSummary",
         [certificate = parsed(leaf)] { return textOf(certificate->subjectSummary()); }},
        {"createTrust",
         [&platform, certificate = parsed(leaf)] {
             const auto made = platform.certificates().createTrust(certificate);
             return statusText(made.status) + ", " + textOf(made.trust);
         }},
        {"setOnlyAnchor",
         [trust = trust(other), anchor = parsed(root)] {
             return statusText(trust->setOnlyAnchor(anchor));
         }},
        {"evaluate, trusted", [trust = trust(root)] { return evaluated(*trust); }},
        {"evaluate, untrusted", [trust = trust(other)] { return evaluated(*trust); }},
    };
}

TEST_F(FailingCalls, EveryOperationAnswersAsDocumentedAndLeavesNothingBehind) {
    Lines answers;
    const auto all = operations();
    const Lines before = StandInMac::leftAlive();
    for (const auto& [name, ask] : all) {
        standin::failCall(0);
        answers.push_back(name + ": " + ask());
        const auto calls = standin::callsMade();
        for (unsigned call = 1; call <= calls.size(); ++call) {
            for (const Failure failure : calls[call - 1].failures) {
                standin::failCall(call, failure);
                std::string answer;
                try {
                    answer = ask();
                } catch (const std::bad_alloc&) {
                    answer = "no memory";
                }
                answers.push_back(name + ", " + calls[call - 1].name +
                                  (failure == Failure::documented ? " fails: " : " is empty: ") +
                                  answer);
                EXPECT_EQ(StandInMac::leftAlive(), before) << answers.back();
            }
        }
    }
    standin::failCall(0);
    const Lines expected = {
        "copyValue of any user: value",
        "copyValue of any user, CFStringCreateWithBytes fails: absent",
        "copyValue of any user, CFStringCreateWithBytes fails: absent",
        "copyValue of any user, CFPreferencesCopyValue fails: absent",
        "copyValue of the user: value",
        "copyValue of the user, CFStringCreateWithBytes fails: absent",
        "copyValue of the user, CFStringCreateWithBytes fails: absent",
        "copyValue of the user, CFPreferencesCopyValue fails: absent",
        "appIntegerValue: found 7",
        "appIntegerValue, CFStringCreateWithBytes fails: not found 0",
        "appIntegerValue, CFStringCreateWithBytes fails: not found 0",
        "appIntegerValue, CFPreferencesGetAppIntegerValue fails: not found 0",
        "serialNumber: value",
        "serialNumber, IOServiceMatching fails: absent",
        "serialNumber, IOServiceGetMatchingService fails: absent",
        "serialNumber, IORegistryEntryCreateCFProperty fails: absent",
        "createSession: value",
        "createSession, DASessionCreate fails: null",
        "mountTable: 1 mounts",
        "mountTable, getmntinfo_r_np fails: absent",
        "mountTable, getmntinfo_r_np is empty: 0 mounts",
        "diskAtMountPoint: value",
        "diskAtMountPoint, CFURLCreateFromFileSystemRepresentation fails: no memory",
        "diskAtMountPoint, DADiskCreateFromVolumePath fails: null",
        "copyDescription: internal: value",
        "copyDescription, DADiskCopyDescription fails: absent",
        "copyMedia: value",
        "copyMedia, DADiskCopyIOMedia fails: null",
        "property: value",
        "property, CFStringCreateWithBytes fails: no memory",
        "property, IORegistryEntryCreateCFProperty fails: absent",
        "certificates: status 0, 2",
        "certificates, CFNumberCreate fails: status -108, 0",
        "certificates, CFDictionaryCreate fails: status -108, 0",
        "certificates, SecItemCopyMatching fails: status -108, 0",
        "certificates, SecItemCopyMatching is empty: status -2070, 0",
        "identities: status 0, 1",
        "identities, CFDataCreate fails: status -108, 0",
        "identities, CFArrayCreate fails: status -108, 0",
        "identities, CFDictionaryCreate fails: status -108, 0",
        "identities, SecItemCopyMatching fails: status -108, 0",
        "identities, SecItemCopyMatching is empty: status -2070, 0",
        "copyCertificate: status 0, value",
        "copyCertificate, SecIdentityCopyCertificate fails: status -108, null",
        "copyCertificate, SecIdentityCopyCertificate is empty: status -2070, null",
        "copyCertificate, SecCertificateCopyData fails: status -2070, null",
        "statusText: The specified item could not be found in the keychain.",
        "statusText, SecCopyErrorMessageString fails: OSStatus -25300",
        "parseCertificate: value",
        "parseCertificate, CFDataCreate fails: null",
        "parseCertificate, SecCertificateCreateWithData fails: null",
        "parseCertificate, SecCertificateCopyData fails: null",
        "commonNames of bytes: value",
        "commonNames of bytes, CFDataCreate fails: absent",
        "commonNames of bytes, SecCertificateCreateWithData fails: absent",
        "commonNames of bytes, SecCertificateCopyData fails: absent",
        "commonNames of bytes, CFArrayCreate fails: absent",
        "commonNames of bytes, SecCertificateCopyValues fails: absent",
        "commonNames: value",
        "commonNames, CFArrayCreate fails: absent",
        "commonNames, SecCertificateCopyValues fails: absent",
        "normalizedSubject: value",
        "normalizedSubject, SecCertificateCopyNormalizedSubjectSequence fails: absent",
        "subjectSummary: value",
        "subjectSummary, SecCertificateCopySubjectSummary fails: absent",
        "createTrust: status 0, value",
        "createTrust, SecPolicyCreateBasicX509 fails: status -108, null",
        "createTrust, SecTrustCreateWithCertificates fails: status -108, null",
        "createTrust, SecTrustCreateWithCertificates is empty: status -2070, null",
        "setOnlyAnchor: status 0",
        "setOnlyAnchor, CFArrayCreate fails: status -108",
        "setOnlyAnchor, SecTrustSetAnchorCertificates fails: status -108",
        "evaluate, trusted: trusted",
        "evaluate, trusted, SecTrustEvaluateWithError fails: untrusted NSOSStatusErrorDomain "
        "-2070 An internal component failed.",
        "evaluate, untrusted: untrusted NSOSStatusErrorDomain -25318 “Leaf” certificate is not "
        "trusted",
        "evaluate, untrusted, SecTrustEvaluateWithError fails: untrusted NSOSStatusErrorDomain "
        "-2070 An internal component failed.",
        "evaluate, untrusted, CFErrorCopyDescription fails: untrusted NSOSStatusErrorDomain "
        "-25318 error -25318",
    };
    EXPECT_EQ(answers, expected);
}

/// The types of the checks that passed.
std::set<std::string> passed(const std::string& result) {
    std::set<std::string> types;
    const VELValue document = VELValue::parse(result);
    for (const VELValue& check : document.value("checks", VELValue::array())) {
        if (check.value("pass", false)) {
            types.insert(check.at("type").get<std::string>());
        }
    }
    EXPECT_TRUE(!document.value("pass", false) || types.size() == document.at("checks").size());
    return types;
}

/// What failing calls do to requests to described Macs.
class FailingRequests {
public:
    /// Lets each call fail that a request to a Mac makes; with a sanitizer, a sample of them.
    void sweep(const std::string& requestName, const std::string& machine) {
        const std::string request = examples::request(requestName);
        const auto run = [&] {
            return passed(examples::answer(request, std::make_shared<AppleInVirtualTime>(
                                                        examples::machine(machine)))
                              .result);
        };
        standin::failCall(0);
        const auto undisturbed = run();
        const auto calls = standin::callsMade();
        for (unsigned call = 1; call <= calls.size(); ++call) {
            const std::string& name = calls[call - 1].name;
            for (const Failure failure : calls[call - 1].failures) {
                if (_failuresOf[{name, failure}]++ % sampleStep != 0) {
                    continue;
                }
                standin::failCall(call, failure);
                for (const std::string& type : run()) {
                    if (!undisturbed.contains(type)) {
                        made.insert(type + ": " + name);
                    }
                }
                EXPECT_EQ(StandInMac::leftAlive(), Lines()) << name;
                ++injected;
            }
        }
        standin::failCall(0);
    }

    /// "check: call" for each check that passes only when that call fails.
    std::set<std::string> made;
    std::size_t injected = 0;

private:
    std::map<std::pair<std::string, Failure>, unsigned> _failuresOf;
};

TEST(FailingCallsInRequests, MakeNoYesButWhereTheScanLeavesOutAVolume) {
    FailingRequests failing;
    for (const std::string& machine : examples::filesIn("Machines")) {
        for (const char* request : {"all-checks.json", "identity.json"}) {
            SCOPED_TRACE(machine);
            failing.sweep(request, machine);
        }
    }
    EXPECT_GT(failing.injected, 900U / sampleStep);
    RecordProperty("failures", static_cast<int>(failing.injected));
    // A volume without a disk, a description, a media object or a role is out of scope, and a mount
    // table of no entries, which is how the system reports a failure as well, has none in scope.
    const std::set<std::string> named = {
        "fullDiskEncryption: DADiskCopyDescription",
        "fullDiskEncryption: DADiskCopyIOMedia",
        "fullDiskEncryption: DADiskCreateFromVolumePath",
        "fullDiskEncryption: IORegistryEntryCreateCFProperty",
        "fullDiskEncryption: getmntinfo_r_np",
    };
    if (sampleStep == 1) {
        EXPECT_EQ(failing.made, named);
    } else {
        EXPECT_TRUE(std::ranges::includes(named, failing.made))
            << testing::PrintToString(failing.made);
    }
}

} // namespace
