// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPerDeviceCertificatePresentCheck.h"

#include "Base/VELBase64.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/RecordingLogger.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<LogLine>;

constexpr const char* checkFunction =
    "-[VELPerDeviceCertificatePresentCheck perDeviceCertificateCheck:error:]";
constexpr const char* trustFunction = "-[VELPerDeviceCertificatePresentCheck evaluateTrust:error:]";
constexpr const char* subjectFunction =
    "-[VELPerDeviceCertificatePresentCheck extractSubjectFromCertificate:error:]";

std::string hexadecimal(const std::string& bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

const LogLine starting = {1, "Starting check", checkFunction};
const LogLine invalid = {3, "Invalid DER-encoded X.509 certificate", checkFunction};
const LogLine none = {1, "No valid certificate found in user's machine", checkFunction};
const LogLine skipping = {1, "Skipping certificate validation for admin root certificate",
                          checkFunction};
const LogLine evaluating = {1, "Calling SecTrustEvaluateWithError", trustFunction};
const LogLine trusted = {1, "Trusted certificate found", trustFunction};

LogLine processing(const std::string& summary) {
    return {1, "Processing certificate with summary: " + summary, checkFunction};
}

LogLine failure(const std::string& what, const std::string& status) {
    return {3, "Failure to " + what + ", status code is: " + status, checkFunction};
}

LogLine untrusted(int code, const std::string& text) {
    return {2,
            "This is an untrusted certificate Error Domain=NSOSStatusErrorDomain Code=" +
                std::to_string(code) + " UserInfo={\"NSLocalizedDescription\":\"" + text + "\"}",
            trustFunction};
}

std::string expiredText(const std::string& name) {
    return "\u201C" + name + "\u201D certificate is expired";
}

class PerDeviceCertificateCheck : public testing::Test {
protected:
    PerDeviceCertificateCheck() {
        VELDTLogger::setLogger(logger);
        keychain.date = vel::momentOfText("2030-01-01T00:00:00Z");
    }
    ~PerDeviceCertificateCheck() override {
        EXPECT_EQ(keychain.counts.handedOut, 0);
        EXPECT_EQ(certificates.counts.handedOut, 0);
        VELDTLogger::setLogger(nullptr);
    }

    bool run(const VELValue& certificate) {
        VELDictionary parameters = VELValue::object();
        parameters["cert"] = certificate;
        error = VELError("earlier", 1, VELValue::object());
        return check.runCheckWithParameters(parameters, &error);
    }

    /// The lines up to the query of the keychain.
    [[nodiscard]] Lines opening() const {
        const auto subject = certificates.parseCertificate(root)->normalizedSubject().value();
        return {starting,
                {1, "Calling SecCertificateCopyNormalizedSubjectSequence", subjectFunction},
                {1, "Admin certificate subject is: " + hexadecimal(subject), checkFunction}};
    }

    [[nodiscard]] Lines openingAnd(const Lines& more) const {
        Lines lines = opening();
        lines.insert(lines.end(), more.begin(), more.end());
        return lines;
    }

    /// A leaf under an intermediate that has expired by the date of the machine: it is found and
    /// not trusted.
    std::string makeUntrusted(const std::string& name) {
        const std::string middle = "Middle of " + name;
        keychain.certificateList.push_back(workshop.make({.name = "Middle" + name,
                                                          .subject = "/CN=" + middle,
                                                          .issuer = "Root",
                                                          .extensions = authorityExtensions,
                                                          .notAfter = "20290101000000Z"}));
        return workshop.makeLeaf(name, "Middle" + name);
    }

    CertificateWorkshop workshop;
    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::shared_ptr<VELSimulatedPlatform> platform = std::make_shared<VELSimulatedPlatform>();
    VELSimulatedKeychain& keychain = platform->keychainStore;
    VELSimulatedCertificates& certificates = platform->certificateStore;
    std::string root = workshop.makeAuthority("Root");
    std::string rootText = vel::base64Text(root);
    VELPerDeviceCertificatePresentCheck check{platform};
    std::optional<VELError> error;
};

std::string wrapped(const std::string& text, std::size_t width, const std::string& separator) {
    std::string lines;
    for (std::size_t start = 0; start < text.size(); start += width) {
        lines += text.substr(start, width) + separator;
    }
    return lines;
}

TEST_F(PerDeviceCertificateCheck, RequiresTheRoot) {
    EXPECT_EQ(check.requiredParameters(), std::vector<std::string>{"cert"});
}

TEST_F(PerDeviceCertificateCheck, PassesWithAnIdentityUnderTheRoot) {
    keychain.identityList = {{.certificate = workshop.makeLeaf("Leaf", "Root")}};
    EXPECT_TRUE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({processing("Leaf"), evaluating, trusted}));
}

TEST_F(PerDeviceCertificateCheck, PassesThroughAnIntermediateOfTheKeychain) {
    keychain.certificateList = {workshop.makeAuthority("Middle", "Root")};
    keychain.identityList = {{.certificate = workshop.makeLeaf("Leaf", "Middle")}};
    EXPECT_TRUE(run(rootText));
    EXPECT_FALSE(error);
}

TEST_F(PerDeviceCertificateCheck, TheRootIsRecognisedWithLineBreaks) {
    keychain.identityList = {{.certificate = root}};
    for (const std::string separator : {"\n", "\r\n", "\v", "\f", "\u0085", "\u2028", "\u2029"}) {
        EXPECT_FALSE(run(wrapped(rootText, 64, separator))) << separator;
        EXPECT_FALSE(error);
        EXPECT_EQ(logger->take(), openingAnd({processing("Root"), skipping, none}));
    }
    EXPECT_EQ(certificates.counts.trusts, 0U);
}

TEST_F(PerDeviceCertificateCheck, TheRootIsMissedWithSpaces) {
    keychain.identityList = {{.certificate = root}};
    EXPECT_TRUE(run(wrapped(rootText, 64, " ")));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({processing("Root"), evaluating, trusted}));
}

TEST_F(PerDeviceCertificateCheck, TheRootIsMissedWithMorePaddingOrOtherBits) {
    keychain.identityList = {{.certificate = root}};
    EXPECT_TRUE(run(rootText + "="));
}

TEST_F(PerDeviceCertificateCheck, TheRootAlonePassesNothing) {
    keychain.identityList = {{.certificate = root}};
    EXPECT_FALSE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({processing("Root"), skipping, none}));
}

TEST_F(PerDeviceCertificateCheck, BytesBehindTheRootDoNotCount) {
    keychain.identityList = {{.certificate = root}};
    EXPECT_TRUE(run(vel::base64Text(root + "more"))) << "its text is not the root's";
    EXPECT_FALSE(error);
}

TEST_F(PerDeviceCertificateCheck, WhatIsNoCertificateFails) {
    const std::string armoured = "-----BEGIN CERTIFICATE-----\n" + wrapped(rootText, 64, "\n") +
                                 "-----END CERTIFICATE-----\n";
    for (const std::string& text :
         {std::string(), armoured, std::string("garbage!"), std::string("===="),
          rootText.substr(0, rootText.size() / 2), std::string("\u00E4\u00F6")}) {
        EXPECT_FALSE(run(text));
        EXPECT_FALSE(error);
        EXPECT_EQ(logger->take(), Lines({starting, invalid})) << text;
    }
    EXPECT_EQ(keychain.counts.identities, 0U);
}

TEST_F(PerDeviceCertificateCheck, ARootWithoutASubjectFails) {
    // An empty relative name is none.
    std::string broken = root;
    const std::string name = "\x30\x0F\x31\x0D\x30\x0B\x06\x03\x55\x04\x03\x0C\x04Root";
    const std::size_t at = broken.rfind(name);
    ASSERT_NE(at, std::string::npos);
    broken.replace(at + 2, name.size() - 2,
                   std::string("\x31\x00\x31\x0B\x30\x09\x06\x03\x55\x04\x03\x0C\x02no", 15));
    EXPECT_FALSE(run(vel::base64Text(broken)));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              Lines({starting,
                     {1, "Calling SecCertificateCopyNormalizedSubjectSequence", subjectFunction},
                     {3, "Unable to retrieve subject from admin certificate.", subjectFunction}}));
}

TEST_F(PerDeviceCertificateCheck, NoIdentityIsALoggedFailureAndNoError) {
    const LogLine notFound =
        failure("get identities from the Keychain",
                "-25300, message: The specified item could not be found in the keychain.");
    EXPECT_FALSE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({notFound}));

    workshop.makeAuthority("Other");
    keychain.identityList = {{.certificate = workshop.makeLeaf("Leaf", "Other")}};
    EXPECT_FALSE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({notFound}));

    keychain.identitiesStatus = VELSecurityStatus::notAvailable;
    EXPECT_FALSE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(),
              openingAnd({failure("get identities from the Keychain",
                                  "-25291, message: No keychain is available. You may need to "
                                  "restart your computer.")}));
}

TEST_F(PerDeviceCertificateCheck, IdentitiesOutsideTheirValidityAreNeverEvaluated) {
    keychain.identityList = {{.certificate = workshop.make({.name = "Early",
                                                            .issuer = "Root",
                                                            .extensions = leafExtensions,
                                                            .notBefore = "20300101000001Z"})},
                             {.certificate = workshop.make({.name = "Late",
                                                            .issuer = "Root",
                                                            .extensions = leafExtensions,
                                                            .notAfter = "20291231235959Z"})}};
    EXPECT_FALSE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take().size(), 4U);
    EXPECT_EQ(keychain.counts.identityCertificates, 0U);
    EXPECT_EQ(certificates.counts.evaluations, 0U);
}

TEST_F(PerDeviceCertificateCheck, ATrustedIdentityAfterAnUntrustedOnePasses) {
    keychain.identityList = {{.certificate = makeUntrusted("First")},
                             {.certificate = workshop.makeLeaf("Second", "Root")},
                             {.certificate = workshop.makeLeaf("Third", "Root")}};
    EXPECT_TRUE(run(rootText));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), openingAnd({processing("First"), evaluating,
                                          untrusted(-67818, expiredText("Middle of First")),
                                          processing("Second"), evaluating, trusted}));
    EXPECT_EQ(certificates.counts.evaluations, 2U);
}

TEST_F(PerDeviceCertificateCheck, OfUntrustedIdentitiesTheLastErrorStays) {
    keychain.identityList = {{.certificate = makeUntrusted("First")},
                             {.certificate = makeUntrusted("Second")},
                             {.certificate = root}};
    EXPECT_FALSE(run(rootText));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain(), "NSOSStatusErrorDomain");
    EXPECT_EQ(error->code(), -67818);
    EXPECT_EQ(error->message(), expiredText("Middle of Second"));
    EXPECT_EQ(logger->take(),
              openingAnd({processing("First"), evaluating,
                          untrusted(-67818, expiredText("Middle of First")), processing("Second"),
                          evaluating, untrusted(-67818, expiredText("Middle of Second")),
                          processing("Root"), skipping, none}));
}

TEST_F(PerDeviceCertificateCheck, NeedsNoErrorOutParameter) {
    VELDictionary parameters = VELValue::object();
    parameters["cert"] = rootText;
    keychain.identityList = {{.certificate = makeUntrusted("First")}};
    EXPECT_FALSE(check.runCheckWithParameters(parameters, nullptr));
    const Lines first = {processing("First"), evaluating,
                         untrusted(-67818, expiredText("Middle of First"))};
    EXPECT_EQ(logger->take(), openingAnd({first[0], first[1], first[2], none}));
    keychain.identityList.push_back({.certificate = workshop.makeLeaf("Second", "Root")});
    EXPECT_TRUE(check.runCheckWithParameters(parameters, nullptr));
    EXPECT_EQ(logger->take(), openingAnd({first[0], first[1], first[2], processing("Second"),
                                          evaluating, trusted}));
}

TEST_F(PerDeviceCertificateCheck, ItsStepsClearAnEarlierError) {
    using Check = VELPerDeviceCertificatePresentCheck;
    const VELError earlier("earlier", 1, VELValue::object());
    const std::shared_ptr<const VELCertificate> anchor = certificates.parseCertificate(root);
    error = earlier;
    EXPECT_EQ(Check::extractSubjectFromCertificate(*anchor, &error), anchor->normalizedSubject());
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), Lines({opening()[1]}));

    const auto leaf = certificates.parseCertificate(workshop.makeLeaf("Leaf", "Root"));
    const auto created = certificates.createTrust(leaf);
    ASSERT_EQ(created.status, 0);
    ASSERT_EQ(created.trust->setOnlyAnchor(anchor), 0);
    error = earlier;
    EXPECT_TRUE(Check::evaluateTrust(*created.trust, &error));
    EXPECT_FALSE(error);
    EXPECT_TRUE(Check::evaluateTrust(*created.trust, nullptr));
    EXPECT_EQ(logger->take(), Lines({evaluating, trusted, evaluating, trusted}));
}

TEST_F(PerDeviceCertificateCheck, EachFailingCallPassesOneIdentityOver) {
    const std::string leaf = workshop.makeLeaf("Leaf", "Root");
    keychain.identityList = {
        {.certificate = makeUntrusted("First")},
        {.certificate = leaf, .certificateStatus = VELSecurityStatus::itemNotFound},
        {.certificate = leaf, .trustStatus = VELSecurityStatus::parameter},
        {.certificate = leaf, .anchorsStatus = VELSecurityStatus{7}}};
    EXPECT_FALSE(run(rootText));
    ASSERT_TRUE(error) << "the error of the evaluation before stays";
    EXPECT_EQ(error->message(), expiredText("Middle of First"));
    EXPECT_EQ(
        logger->take(),
        openingAnd(
            {processing("First"), evaluating, untrusted(-67818, expiredText("Middle of First")),
             failure("get certificate from the Identity",
                     "-25300, message: The specified item could not be found in the keychain."),
             processing("Leaf"),
             failure("create trust object",
                     "-50, message: One or more parameters passed to a function were not valid."),
             processing("Leaf"), failure("set anchor certificate", "7, message: OSStatus 7"),
             none}));
}

TEST_F(PerDeviceCertificateCheck, AnIdentityWithoutASummaryIsLoggedAsNone) {
    keychain.identityList = {
        {.certificate = workshop.make(
             {.name = "Empty", .subject = "/", .issuer = "Root", .extensions = leafExtensions})}};
    EXPECT_FALSE(run(rootText));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), -67655);
    EXPECT_EQ(logger->take()[3], processing("(null)"));
}

TEST_F(PerDeviceCertificateCheck, ARootThatIsNoStringRaises) {
    for (const VELValue& wrong : {VELValue(7), VELValue(), VELValue::object()}) {
        try {
            run(wrong);
            FAIL() << wrong;
        } catch (const std::invalid_argument& raised) {
            EXPECT_STREQ(raised.what(), "cert is not a string");
        }
        EXPECT_EQ(logger->take(), Lines({starting}));
        EXPECT_FALSE(error);
    }
}

TEST_F(PerDeviceCertificateCheck, ARequestShowsTheLastTrustErrorButNoMissingIdentity) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
    VELValue request = {{"mac", {{{"type", "perDeviceCertificatePresent"}, {"cert", rootText}}}}};
    const auto result = [&] {
        return VELValue::parse(
            runner->runPostureCheckFromDocumentString(request.dump()))["checks"][0];
    };
    EXPECT_EQ(result()["pass"], false);
    EXPECT_FALSE(result().contains("error"));
    keychain.identityList = {{.certificate = makeUntrusted("Leaf")}};
    EXPECT_EQ(result()["error"], expiredText("Middle of Leaf"));
    EXPECT_FALSE(result().contains("pass"));
    keychain.identityList.push_back({.certificate = workshop.makeLeaf("Good", "Root")});
    EXPECT_EQ(result()["pass"], true);
    EXPECT_FALSE(result().contains("error"));
}

} // namespace
