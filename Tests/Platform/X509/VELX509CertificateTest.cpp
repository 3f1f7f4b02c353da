// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELX509Certificate.h"

#include "Platform/Simulated/VELSimulatedKeychain.h"
#include "Platform/X509/VELCertificateChain.h"
#include "Platform/X509/VELCertificatePool.h"
#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELSHA1.h"
#include "Platform/X509/VELSecurityStatusText.h"
#include "Platform/X509/VELX509Name.h"
#include "Tests/Support/AllocationCount.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>
#include <openssl/err.h>

#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Names = std::optional<std::vector<std::string>>;

class X509Certificate : public testing::Test {
protected:
    CertificateWorkshop workshop;
};

TEST_F(X509Certificate, IsThePartOfTheBytesThatIsOne) {
    const std::string der = workshop.makeAuthority("Root");
    const auto certificate = VELX509Certificate::parse(der + std::string("more\0bytes", 10));
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(certificate->der(), der);
    EXPECT_EQ(vel::x509::commonNamesOfCertificate(der + "more"), Names({"Root"}));
}

TEST_F(X509Certificate, OtherBytesAreNone) {
    const std::string der = workshop.makeAuthority("Root");
    EXPECT_EQ(VELX509Certificate::parse(""), nullptr);
    EXPECT_EQ(VELX509Certificate::parse("garbage"), nullptr);
    EXPECT_EQ(VELX509Certificate::parse("x" + der), nullptr);
    for (std::size_t size = 0; size < der.size(); ++size) {
        const std::string cut = der.substr(0, size);
        EXPECT_EQ(VELX509Certificate::parse(cut), nullptr) << size;
        EXPECT_EQ(vel::x509::commonNamesOfCertificate(cut), std::nullopt) << size;
    }
    EXPECT_EQ(ERR_peek_error(), 0UL);
}

TEST_F(X509Certificate, LeavesTheErrorsOfItsHostAlone) {
    const std::string der = workshop.makeAuthority("Root");
    ERR_raise(ERR_LIB_USER, 7);
    std::string broken = der;
    broken[6] = 0x05;
    EXPECT_EQ(VELX509Certificate::parse(broken), nullptr);
    EXPECT_NE(VELX509Certificate::parse(der), nullptr);
    EXPECT_EQ(ERR_GET_REASON(ERR_peek_last_error()), 7);
    ERR_clear_error();
}

TEST_F(X509Certificate, WithANameThatIsNoTextHasNoReadableName) {
    std::string der = workshop.makeAuthority("Root");
    der.at(der.rfind("Root") + 1) = '\xFF';
    const auto certificate = VELX509Certificate::parse(der);
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(certificate->der(), der);
    EXPECT_EQ(certificate->commonNames(), std::nullopt);
    EXPECT_EQ(certificate->subjectSummary(), std::nullopt);
    EXPECT_TRUE(certificate->normalizedSubject());
}

TEST_F(X509Certificate, HasTheCommonNamesOfItsSubject) {
    const auto names = [&](const std::string& subject, const std::string& mask = "utf8only") {
        const std::string der = workshop.make(
            {.name = "Some", .subject = subject, .extensions = leafExtensions, .stringMask = mask});
        const auto found = VELX509Certificate::parse(der)->commonNames();
        EXPECT_EQ(found, vel::x509::commonNamesOfCertificate(der));
        return found;
    };
    EXPECT_EQ(names("/CN=one"), Names({"one"}));
    EXPECT_EQ(names("/CN=one/O=between/CN=two"), Names({"one", "two"}));
    EXPECT_EQ(names("/O=none"), Names(std::in_place));
    EXPECT_EQ(names("/"), Names(std::in_place));
    EXPECT_EQ(names("/CN=b\u00FCcher \u20AC"), Names({"b\u00FCcher \u20AC"}));
    EXPECT_EQ(names("/CN=b\u00FCcher \u20AC", "MASK:0x800"), Names({"b\u00FCcher \u20AC"}));
    EXPECT_EQ(names("/CN=b\u00FCcher", "MASK:0x4"), Names({"b\u00FCcher"}));
}

TEST_F(X509Certificate, HasASummary) {
    const auto summary = [&](const std::string& subject, const std::string& alternatives = {}) {
        const std::string names = alternatives.empty() ? "" : "subjectAltName=" + alternatives;
        return VELX509Certificate::parse(
                   workshop.make(
                       {.name = "Some", .subject = subject, .extensions = leafExtensions + names}))
            ->subjectSummary();
    };
    EXPECT_EQ(summary("/O=firm/CN=a/CN=b", "email:m@example.com"), "b, a");
    EXPECT_EQ(summary("/description=about/CN=a"), "a (about)");
    EXPECT_EQ(summary("/O=firm", "DNS:a.example,email:m@example.com,email:n@example.com"),
              "m@example.com");
    EXPECT_EQ(summary("/O=firm/emailAddress=s@example.com", "DNS:a.example"), "s@example.com");
    EXPECT_EQ(summary("/O=firm", "DNS:a.example,DNS:b.example"), "a.example");
    EXPECT_EQ(summary("/O=firm/OU=unit"), "unit");
    EXPECT_EQ(summary("/C=NL"), "NL");
    EXPECT_EQ(summary("/"), std::nullopt);
}

TEST_F(X509Certificate, HasTheDatesOfItsValidity) {
    const auto certificate = VELX509Certificate::parse(workshop.make(
        {.name = "Dated", .notBefore = "20240229123456Z", .notAfter = "99991231235959Z"}));
    ASSERT_NE(certificate, nullptr);
    EXPECT_EQ(certificate->parts().notBefore, vel::momentOfText("2024-02-29T12:34:56Z"));
    EXPECT_EQ(certificate->parts().notAfter, vel::momentOfText("9999-12-31T23:59:59Z"));
}

TEST_F(X509Certificate, TellsWhatMakesEveryChainToItFail) {
    using vel::x509::ChainCheck;
    const auto failuresOf = [&](const CertificateOrder& order) {
        return vel::x509::anchorFailures(VELX509Certificate::parse(workshop.make(order)),
                                         vel::momentOfText("2030-01-01T00:00:00Z").value());
    };
    EXPECT_EQ(failuresOf({.name = "Root", .extensions = authorityExtensions}),
              std::vector<ChainCheck>());
    EXPECT_EQ(failuresOf({.name = "Odd",
                          .extensions = "basicConstraints=CA:false\nkeyUsage=digitalSignature\n",
                          .notAfter = "20250101000000Z",
                          .key = "RSA -pkeyopt rsa_keygen_bits:768"}),
              (std::vector<ChainCheck>{ChainCheck::keySize, ChainCheck::basicConstraintsAuthority,
                                       ChainCheck::keyUsage, ChainCheck::validity}));
}

TEST_F(X509Certificate, TellsDuplicateAndUnreadableExtensions) {
    const auto plain = VELX509Certificate::parse(workshop.makeAuthority("Plain"));
    EXPECT_FALSE(plain->parts().extensions.hasDuplicate);
    EXPECT_FALSE(plain->parts().extensions.hasUnreadable);
    const auto unreadable = VELX509Certificate::parse(
        workshop.make({.name = "Odd", .extensions = "basicConstraints=DER:0500\n"}));
    EXPECT_FALSE(unreadable->parts().extensions.hasDuplicate);
    EXPECT_TRUE(unreadable->parts().extensions.hasUnreadable);
    const auto duplicate = VELX509Certificate::parse(
        workshop.make({.name = "Twice", .extensions = "1.2.3.4=ASN1:NULL\n1.2.3.4=ASN1:NULL\n"}));
    // The command may refuse to write one twice; then there is none to look at.
    EXPECT_EQ(duplicate->parts().extensions.hasDuplicate,
              askOracle("openssl asn1parse -in " + workshop.certificateFile("Twice") +
                        " | grep -c 1.2.3.4")
                      .output == "2\n");
}

TEST_F(X509Certificate, IsReadTheSameOnSeveralThreads) {
    const std::string root = workshop.makeAuthority("Root");
    const VELCertificatePool pool({root, root, "garbage", workshop.makeLeaf("Leaf", "Root")});
    const std::string name = VELX509Certificate::parse(root)->normalizedSubject().value();
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            const auto found = pool.certificatesOf(name, 9);
            ASSERT_EQ(found.size(), 1U) << "equal bytes count once";
            EXPECT_EQ(found.front()->subjectSummary(), "Root");
            EXPECT_EQ(found.front(), pool.certificatesOf(name, 1).front());
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

std::string nameNumber(int number) {
    using namespace vel;
    return der::element(
        der::sequence,
        der::element(der::set,
                     der::element(der::sequence,
                                  der::element(der::objectIdentifier, "\x55\x04\x03") +
                                      der::element(der::utf8String, std::to_string(number)))));
}

/// A certificate without a key, for what looks at names alone.
std::string certificateOf(const std::string& subject, const std::string& issuer) {
    using namespace vel;
    const std::string algorithm =
        der::element(der::sequence, der::element(der::objectIdentifier, "\x2A"));
    const std::string bits = der::element(der::bitString, std::string(1, '\0'));
    const std::string time = der::element(der::utcTime, "2401010000Z");
    return der::element(
        der::sequence,
        der::element(der::sequence, der::element(der::integer, "\x01") + algorithm + issuer +
                                        der::element(der::sequence, time + time) + subject +
                                        der::element(der::sequence, algorithm + bits)) +
            algorithm + bits);
}

bool issuerChainHolds(const std::string& wanted, const std::string& issuer,
                      const VELCertificatePool* pool) {
    return vel::x509::issuersLeadingTo(wanted, pool).contains(issuer);
}

TEST(IssuerChain, LeadsThroughTenMoreIssuersAtMost) {
    std::vector<std::string> certificates;
    for (int number = 1; number < 20; ++number) {
        certificates.push_back(certificateOf(nameNumber(number), nameNumber(number + 1)));
    }
    const VELCertificatePool pool(certificates);
    EXPECT_TRUE(issuerChainHolds(nameNumber(1), nameNumber(1), nullptr));
    EXPECT_FALSE(issuerChainHolds(nameNumber(2), nameNumber(1), nullptr));
    EXPECT_TRUE(issuerChainHolds(nameNumber(2), nameNumber(1), &pool));
    EXPECT_TRUE(issuerChainHolds(nameNumber(11), nameNumber(1), &pool));
    EXPECT_FALSE(issuerChainHolds(nameNumber(12), nameNumber(1), &pool));
    EXPECT_FALSE(issuerChainHolds(nameNumber(1), nameNumber(2), &pool)) << "upwards only";
}

TEST(IssuerChain, FollowsEveryCertificateOfAName) {
    const VELCertificatePool pool(
        {certificateOf(nameNumber(1), nameNumber(1)), certificateOf(nameNumber(1), nameNumber(2)),
         certificateOf(nameNumber(2), nameNumber(1)), certificateOf(nameNumber(2), nameNumber(3))});
    EXPECT_TRUE(issuerChainHolds(nameNumber(3), nameNumber(1), &pool));
    EXPECT_FALSE(issuerChainHolds(nameNumber(4), nameNumber(1), &pool));
}

TEST(IssuerChain, OfManyIdentitiesCostsNoMoreThanTheirNumber) {
    if (!allocationsAreCounted()) {
        GTEST_SKIP() << "this build does not count allocations";
    }
    constexpr std::size_t count = 500;
    VELSimulatedKeychain keychain;
    for (std::size_t number = 0; number < count; ++number) {
        const std::string issuer = nameNumber(static_cast<int>(number) + 10);
        keychain.certificateList.push_back(certificateOf(nameNumber(1), issuer));
        keychain.identityList.push_back({.certificate = certificateOf(issuer, nameNumber(1))});
    }
    const std::size_t before = allocationCount();
    EXPECT_EQ(keychain.identities(nameNumber(2)).status, -25300);
    EXPECT_LT(allocationCount() - before, 200 * count);
}

TEST_F(X509Certificate, OfManyWithOneNameTheFirstAreFound) {
    const std::string first = workshop.makeAuthority("Root");
    const std::string second = workshop.makeAuthority("Root");
    const VELCertificatePool pool({first, second});
    const std::string name = VELX509Certificate::parse(first)->normalizedSubject().value();
    ASSERT_EQ(pool.certificatesOf(name, 1).size(), 1U);
    EXPECT_EQ(pool.certificatesOf(name, 1).front()->der(), first);
    EXPECT_EQ(pool.certificatesOf(name, 2).size(), 2U);
    EXPECT_TRUE(pool.certificatesOf(name, 0).empty());
}

TEST_F(X509Certificate, OneThatIsKnownIsLeftOutByItsBytesAlone) {
    const std::string known = workshop.makeAuthority("Root");
    const std::string namesake = workshop.makeAuthority("Root");
    const VELCertificatePool pool({known, namesake});
    const std::string name = VELX509Certificate::parse(known)->normalizedSubject().value();
    const auto found = pool.certificatesOf(name, 2, known);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front()->der(), namesake);
    EXPECT_TRUE(pool.certificatesOf(name, 1, known).empty());
}

TEST(SHA1, IsThatOfTheStandard) {
    EXPECT_EQ(vel::x509::sha1("abc"), "\xA9\x99\x3E\x36\x47\x06\x81\x6A\xBA\x3E\x25\x71\x78\x50"
                                      "\xC2\x6C\x9C\xD0\xD8\x9D");
    EXPECT_EQ(vel::x509::sha1("").size(), 20U);
}

TEST(SecurityStatus, HasATextForEveryStatus) {
    using vel::security::textOfStatus;
    EXPECT_EQ(textOfStatus(VELSecurityStatus{0}), "No error.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-25300}),
              "The specified item could not be found in the keychain.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-25291}),
              "No keychain is available. You may need to restart your computer.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-2070}), "An internal component failed.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-50}),
              "One or more parameters passed to a function were not valid.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-67689}),
              "The certificate has a name that its issuers do not allow.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-67835}),
              "The certificate has a policy that its issuers do not allow.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-67903}), "The certificate has an extension twice.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-67618}),
              "An extension of the certificate cannot be read.");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{100'002}), "UNIX[No such file or directory]");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{100'000}), "OSStatus 100000");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{104'096}), "OSStatus 104096");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{7}), "OSStatus 7");
    EXPECT_EQ(textOfStatus(VELSecurityStatus{-2147483647 - 1}), "OSStatus -2147483648");
}

} // namespace
