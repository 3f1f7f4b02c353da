// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELCertificateCheck.h"

#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/RecordingLogger.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr const char* searchFunction = "-[VELCertificateCheck certificateInstalledWithSHA1:error:]";
// Of "abc" and of "".
constexpr const char* sha1OfABC = "a9993e364706816aba3e25717850c26c9cd0d89d";
constexpr const char* spacedSHA1OfABC =
    "A9 99 3E 36 47 06 81 6A BA 3E 25 71 78 50 C2 6C 9C D0 D8 9D";

LogLine searchLine(std::int64_t level, const std::string& message) {
    return {level, message, searchFunction};
}

class CertificateCheck : public testing::Test {
protected:
    CertificateCheck() { VELDTLogger::setLogger(logger); }
    ~CertificateCheck() override { VELDTLogger::setLogger(nullptr); }

    bool run(const VELValue& sha1) {
        VELDictionary parameters = VELValue::object();
        parameters["type"] = "certificatePresent";
        parameters["sha1"] = sha1;
        error = VELError("earlier", 1, VELValue::object());
        return check.runCheckWithParameters(parameters, &error);
    }

    /// The lines of a search up to the first comparison.
    static std::vector<LogLine> opening(const std::string& wanted, const std::string& normalized,
                                        std::size_t count) {
        return {searchLine(1, "SHA1 we are looking for: " + wanted),
                searchLine(1, "Normalized SHA1: " + normalized),
                searchLine(1, "Amount of certificates loaded: " + std::to_string(count))};
    }

    std::shared_ptr<RecordingLogger> logger = std::make_shared<RecordingLogger>();
    std::shared_ptr<VELSimulatedPlatform> platform = std::make_shared<VELSimulatedPlatform>();
    std::vector<std::string>& certificates = platform->keychainStore.certificateList;
    VELCertificateCheck check{platform};
    std::optional<VELError> error;
};

TEST_F(CertificateCheck, RequiresTheFingerprint) {
    EXPECT_EQ(check.requiredParameters(), std::vector<std::string>{"sha1"});
}

TEST_F(CertificateCheck, MatchesUpperCaseWithSpaces) {
    certificates = {"abc"};
    EXPECT_TRUE(run(spacedSHA1OfABC));
    EXPECT_FALSE(error);
    EXPECT_EQ(logger->take(), opening(spacedSHA1OfABC, sha1OfABC, 1))
        << "bytes that are no certificate match too, and a match says nothing";
}

TEST_F(CertificateCheck, ToleratesNothingElse) {
    certificates = {"abc"};
    std::string colons = spacedSHA1OfABC;
    std::replace(colons.begin(), colons.end(), ' ', ':');
    std::string lower = colons;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char character) {
        return static_cast<char>(std::tolower(character));
    });
    EXPECT_FALSE(run(colons));
    EXPECT_FALSE(error);
    std::vector<LogLine> expected = opening(colons, lower, 1);
    expected.push_back(searchLine(0, "SHA1 mismatch for (null) ((null))"));
    EXPECT_EQ(logger->take(), expected);
    for (const char* edge : {"\t", "\n", "\r", "\u00A0", "0"}) {
        EXPECT_FALSE(run(std::string(edge) + sha1OfABC));
        EXPECT_FALSE(run(std::string(sha1OfABC) + edge));
    }
    EXPECT_TRUE(run(std::string(" ") + sha1OfABC + "  "));
}

TEST_F(CertificateCheck, AnEmptyFingerprintFailsAfterALineForEachCertificate) {
    certificates = {"abc", "abd"};
    EXPECT_FALSE(run(""));
    EXPECT_FALSE(error);
    std::vector<LogLine> expected = opening("", "", 2);
    expected.resize(5, searchLine(0, "SHA1 mismatch for (null) ((null))"));
    EXPECT_EQ(logger->take(), expected);
}

TEST_F(CertificateCheck, KeychainsWithoutACertificateAreAnError) {
    const LogLine errorLine = {3,
                               "Error: Error Domain=com.vel.posturecheck Code=5 "
                               "UserInfo={\"com.vel.posturecheck.unlocalized-description\":"
                               "\"Error loading certificates from keychain.\"}",
                               "SetPostureCheckError"};
    for (const std::int32_t status : {-25300, -25291, 1}) {
        platform->keychainStore.certificatesStatus = VELSecurityStatus{status};
        EXPECT_FALSE(run(sha1OfABC));
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "com.vel.posturecheck");
        EXPECT_EQ(error->code(), 5);
        EXPECT_EQ(error->message(), "Error loading certificates from keychain.");
        const auto start = opening(sha1OfABC, sha1OfABC, 0);
        EXPECT_EQ(logger->take(), (std::vector<LogLine>{start[0], start[1], errorLine}));
    }
    // The search has an error of its own, which is logged whatever the caller wants.
    VELDictionary parameters = VELValue::object();
    parameters["sha1"] = sha1OfABC;
    EXPECT_FALSE(check.runCheckWithParameters(parameters, nullptr));
    EXPECT_EQ(logger->take().back(), errorLine);
    EXPECT_EQ(check.allCertificateData(nullptr), std::nullopt);
    EXPECT_EQ(logger->take(), std::vector<LogLine>());
}

TEST_F(CertificateCheck, LooksAtAThousandCertificates) {
    certificates.assign(999, "other");
    certificates.emplace_back("abc");
    EXPECT_TRUE(run(sha1OfABC)) << "the 1,000th";
    certificates.insert(certificates.begin(), "other");
    logger->take();
    EXPECT_FALSE(run(sha1OfABC)) << "the 1,001st";
    EXPECT_FALSE(error);
    const auto lines = logger->take();
    EXPECT_EQ(lines.size(), 1003U);
    EXPECT_EQ(lines[2], searchLine(1, "Amount of certificates loaded: 1000"));
}

TEST_F(CertificateCheck, StopsAtTheFirstMatch) {
    certificates = {"other", "abc", "other", "abc"};
    EXPECT_TRUE(run(sha1OfABC));
    std::vector<LogLine> expected = opening(sha1OfABC, sha1OfABC, 4);
    expected.push_back(searchLine(0, "SHA1 mismatch for (null) ((null))"));
    EXPECT_EQ(logger->take(), expected);
    EXPECT_EQ(platform->keychainStore.counts.certificates, 1U);
}

TEST_F(CertificateCheck, LogsTheCommonNameOfEachMismatch) {
    CertificateWorkshop workshop;
    const auto make = [&](const std::string& subject, const std::string& mask = "utf8only") {
        return workshop.make(
            {.name = "Some", .subject = subject, .extensions = leafExtensions, .stringMask = mask});
    };
    certificates = {make("/CN=one"),
                    make("/CN=one/CN=two"),
                    make("/O=none"),
                    make("/CN=b\u00FCcher"),
                    make("/CN=b\u00FCcher", "MASK:0x800"),
                    make("/CN=b\u00FCcher", "MASK:0x4"),
                    make("/CN=trailing") + "bytes",
                    "garbage"};
    EXPECT_FALSE(run(sha1OfABC));
    std::vector<LogLine> expected = opening(sha1OfABC, sha1OfABC, 8);
    for (const char* names :
         {"one (VELString)", "[\"one\",\"two\"] (VELArray)", "[] (VELArray)",
          "b\u00FCcher (VELString)", "b\u00FCcher (VELString)", "b\u00FCcher (VELString)",
          "trailing (VELString)", "(null) ((null))"}) {
        expected.push_back(searchLine(0, std::string("SHA1 mismatch for ") + names));
    }
    EXPECT_EQ(logger->take(), expected);
}

TEST_F(CertificateCheck, ReadsNoNameWithoutALogger) {
    VELDTLogger::setLogger(nullptr);
    certificates = {"other", "abc"};
    EXPECT_TRUE(run(sha1OfABC));
    EXPECT_EQ(platform->certificateStore.counts.commonNames, 0U);
    VELDTLogger::setLogger(logger);
    EXPECT_TRUE(run(sha1OfABC));
    EXPECT_EQ(platform->certificateStore.counts.commonNames, 1U);
}

TEST_F(CertificateCheck, FindsTheFingerprintThatOpensslPrints) {
    CertificateWorkshop workshop;
    certificates = {workshop.makeAuthority("Root"), workshop.makeLeaf("Leaf", "Root")};
    const std::string printed =
        askOracle("openssl x509 -noout -fingerprint -sha1 -in " + workshop.certificateFile("Leaf"))
            .output;
    std::string fingerprint = printed.substr(printed.find('=') + 1, 59);
    EXPECT_FALSE(run(fingerprint)) << "it is written with colons";
    std::replace(fingerprint.begin(), fingerprint.end(), ':', ' ');
    EXPECT_TRUE(run(fingerprint));
    certificates[1] += "x";
    EXPECT_FALSE(run(fingerprint)) << "all bytes of the item count";
}

TEST_F(CertificateCheck, AFingerprintThatIsNoStringRaises) {
    certificates = {"abc"};
    for (const VELValue& wrong : {VELValue(7), VELValue(), VELValue::array()}) {
        try {
            run(wrong);
            FAIL() << wrong;
        } catch (const std::invalid_argument& raised) {
            EXPECT_STREQ(raised.what(), "sha1 is not a string");
        }
        EXPECT_EQ(logger->take(),
                  std::vector<LogLine>{searchLine(1, "SHA1 we are looking for: " + wrong.dump())});
        ASSERT_TRUE(error);
        EXPECT_EQ(error->domain(), "earlier");
        EXPECT_EQ(platform->keychainStore.counts.certificates, 0U);
    }
}

TEST_F(CertificateCheck, TheFingerprintHas59Characters) {
    EXPECT_EQ(check.sha1("abc"), "a9 99 3e 36 47 06 81 6a ba 3e 25 71 78 50 c2 6c 9c d0 d8 9d");
    EXPECT_EQ(VELCertificateCheck::normalizeSHA1("A B\tC:\u00C4 "), "ab\tc:\u00E4");
}

TEST_F(CertificateCheck, RunsInARequest) {
    const auto runner = VELPlatformRunnerFactory::macPostureCheckRunner(logger, platform);
    const auto result = [&] {
        return VELValue::parse(runner->runPostureCheckFromDocumentString(
            std::string(R"({"mac":[{"type":"certificatePresent","sha1":")") + sha1OfABC +
            "\"}]}"))["checks"][0];
    };
    EXPECT_EQ(result()["error"], "Error loading certificates from keychain.");
    certificates = {"other"};
    EXPECT_EQ(result()["pass"], false);
    certificates = {"abc"};
    EXPECT_EQ(result()["pass"], true);
}

} // namespace
