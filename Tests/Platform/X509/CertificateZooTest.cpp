// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Base/VELJSON.h"
#include "Base/VELMoment.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Platform/X509/VELX509Certificate.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/DescribedRequests.h"
#include "Tests/Support/FileContent.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <openssl/crypto.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// One identity, one anchor, and what the keychain holds beside: whether the identity is found by
// the anchor's name, what the evaluation says, and what openssl says of the same chain.

namespace {

constexpr const char* today = "2030-06-01T12:00:00Z";

/// What the evaluation of an identity says: "trusted", or the error's code and text.
std::string verdictOf(const VELCertificates& certificates, const VELIdentity& identity,
                      const std::shared_ptr<const VELCertificate>& anchor) {
    const auto copied = identity.copyCertificate();
    auto created = certificates.createTrust(copied.certificate);
    if (!(copied.status == 0 && created.status == 0 && created.trust->setOnlyAnchor(anchor) == 0)) {
        return "no trust object";
    }
    std::optional<VELError> error;
    if (created.trust->evaluate(&error)) {
        return error ? "trusted, with an error" : "trusted";
    }
    return error->domain() + " " + std::to_string(error->code()) + " " + error->message();
}

std::string failed(int code, const std::string& text) {
    return "NSOSStatusErrorDomain " + std::to_string(code) + " " + text;
}

class CertificateZoo : public testing::Test {
protected:
    /// The evaluation of `leaf` with `anchor`, although the name of the anchor may not lead to it.
    std::string evaluated(const std::string& leaf, const std::string& anchor,
                          const std::vector<std::string>& pool) {
        VELSimulatedKeychain keychain;
        const VELSimulatedCertificates certificates(keychain);
        keychain.identityList.push_back({.certificate = der(leaf)});
        for (const std::string& name : pool) {
            keychain.certificateList.push_back(der(name));
        }
        const auto parsedAnchor = certificates.parseCertificate(der(anchor));
        const auto parsedLeaf = certificates.parseCertificate(der(leaf));
        keychain.date = vel::momentOfText(date);
        found = keychain.identities(parsedAnchor->normalizedSubject().value()).status;
        openssl = workshop.opensslTrusts(
            leaf, anchor, pool,
            std::chrono::duration_cast<std::chrono::seconds>(keychain.date->time_since_epoch())
                .count());
        // Its own issuer finds every identity that is valid.
        keychain.date = vel::momentOfText(handedOut);
        const auto issuer = static_cast<const VELX509Certificate&>(*parsedLeaf).issuer().value();
        const auto identities = keychain.identities(issuer);
        if (identities.status != VELSecurityStatus::success) {
            return "no identity";
        }
        keychain.date = vel::momentOfText(date);
        const std::string verdict =
            verdictOf(certificates, *identities.identities.front(), parsedAnchor);
        EXPECT_EQ(keychain.counts.handedOut, 1);
        EXPECT_EQ(certificates.counts.handedOut, 0);
        return verdict;
    }

    [[nodiscard]] std::string der(const std::string& name) const {
        const auto changed = stored.find(name);
        return changed != stored.end()
                   ? changed->second
                   : CertificateWorkshop::derOfFile(workshop.certificateFile(name));
    }

    void makeChain() {
        workshop.makeAuthority("Root");
        workshop.makeAuthority("Middle", "Root");
        workshop.makeLeaf("Leaf", "Middle");
    }

    CertificateWorkshop workshop;
    std::map<std::string, std::string> stored; ///< other bytes than those of the file, by name
    std::string handedOut = today;             ///< when the identity was looked for
    std::string date = today;                  ///< when it is evaluated
    VELSecurityStatus found{1};                ///< the status of the search by the anchor's name
    bool openssl = false;
};

TEST_F(CertificateZoo, AChainWithItsIntermediateInTheKeychain) {
    makeChain();
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

[[noreturn]] void decodeAfterCleanUp(const std::string& der) {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr); // else there is nothing to clean up
    OPENSSL_cleanup();
    const auto certificate = VELX509Certificate::parse(der);
    try {
        static_cast<void>(certificate->x509());
    } catch (const std::exception& exception) {
        std::fputs(exception.what(), stderr);
        std::_Exit(3);
    }
    std::_Exit(0);
}

TEST_F(CertificateZoo, CannotBeDecodedOnceOpenSSLHasCleanedUp) {
    const std::string der = workshop.makeAuthority("Root");
    const auto certificate = VELX509Certificate::parse(der);
    ASSERT_NE(certificate, nullptr);
    EXPECT_NE(certificate->x509(), nullptr);
    EXPECT_EXIT(decodeAfterCleanUp(der), testing::ExitedWithCode(3),
                "^certificates can no longer be read: OpenSSL has cleaned up at the end of the "
                "process$");
}

/// In a process that has decoded none before.
TEST(CertificateZooWithoutOpenSSL, CannotBeDecodedForTheFirstTimeEither) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const VELValue machine =
        VELValue::parse(contentOf(VEL_SOURCE_DIRECTORY "/Examples/Machines/compliant.json"));
    const std::string der =
        vel::bytesOfBase64(machine.at("keychain").at("certificates").at(0).get<std::string>())
            .value();
    EXPECT_EXIT(decodeAfterCleanUp(der), testing::ExitedWithCode(3),
                "^certificates can no longer be read: OpenSSL has cleaned up at the end of the "
                "process$");
}

TEST_F(CertificateZoo, AMissingIntermediate) {
    makeChain();
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
    EXPECT_EQ(found, -25300);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnIntermediateAsAnchor) {
    makeChain();
    EXPECT_EQ(evaluated("Leaf", "Middle", {"Root"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, AnotherAnchorThanTheChainEndsAt) {
    makeChain();
    workshop.makeAuthority("Other");
    EXPECT_EQ(evaluated("Leaf", "Other", {"Middle", "Root"}),
              failed(-67843, quoted("Root") + " certificate is not trusted"));
    EXPECT_EQ(found, -25300);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, TheAnchorItselfAsIdentity) {
    workshop.makeAuthority("Root");
    EXPECT_EQ(evaluated("Root", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, RSA) {
    const std::string rsa = "RSA -pkeyopt rsa_keygen_bits:1024";
    workshop.make({.name = "Root", .extensions = authorityExtensions, .key = rsa});
    workshop.make({.name = "Leaf", .issuer = "Root", .extensions = leafExtensions, .key = rsa});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, EdwardsCurves) {
    workshop.make(
        {.name = "Root", .extensions = authorityExtensions, .key = "ED448", .digest = "null"});
    workshop.make({.name = "Leaf",
                   .issuer = "Root",
                   .extensions = leafExtensions,
                   .key = "ED25519",
                   .digest = "null"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, AReissuedRootWithTheSameNameAndAnotherKey) {
    workshop.make({.name = "Old", .subject = "/CN=Root", .extensions = authorityExtensions});
    workshop.make({.name = "New", .subject = "/CN=Root", .extensions = authorityExtensions});
    workshop.makeLeaf("Leaf", "Old");
    EXPECT_EQ(evaluated("Leaf", "New", {}),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
    EXPECT_EQ(found, 0) << "names alone count for the search";
    EXPECT_FALSE(openssl);
    EXPECT_EQ(evaluated("Leaf", "New", {"Old"}),
              failed(-67843, quoted("Root") + " certificate is not trusted"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
    EXPECT_EQ(evaluated("Leaf", "Old", {"New"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, AReissuedRootWithTheSameKey) {
    workshop.make({.name = "Old", .subject = "/CN=Root", .extensions = authorityExtensions});
    workshop.make(
        {.name = "New", .subject = "/CN=Root", .extensions = authorityExtensions, .keyOf = "Old"});
    workshop.makeLeaf("Leaf", "Old");
    EXPECT_EQ(evaluated("Leaf", "New", {"Old"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, PrintableNamesInOtherCaseAndSpacing) {
    const std::string printable = "MASK:0x2";
    workshop.make({.name = "Root",
                   .subject = "/CN=Some  Root",
                   .extensions = authorityExtensions,
                   .stringMask = printable});
    workshop.makeLeaf("Leaf", "Root");
    workshop.make({.name = "Again",
                   .subject = "/CN= some rOOT ",
                   .extensions = authorityExtensions,
                   .keyOf = "Root",
                   .stringMask = printable});
    EXPECT_EQ(evaluated("Leaf", "Again", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, OtherNamesInOtherCaseAreOtherNames) {
    workshop.make({.name = "Root", .subject = "/CN=Root", .extensions = authorityExtensions});
    workshop.makeLeaf("Leaf", "Root");
    workshop.make({.name = "Again",
                   .subject = "/CN=ROOT",
                   .extensions = authorityExtensions,
                   .keyOf = "Root"});
    EXPECT_EQ(evaluated("Leaf", "Again", {}),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
    EXPECT_EQ(found, -25300);
    EXPECT_TRUE(openssl) << "openssl folds the case of every type of string";
}

TEST_F(CertificateZoo, ALeafThatIsExpiredOrNotYetValid) {
    makeChain();
    workshop.make({.name = "Short",
                   .issuer = "Middle",
                   .extensions = leafExtensions,
                   .notBefore = "20290101000000Z",
                   .notAfter = "20300101000000Z"});
    handedOut = "2029-06-01T00:00:00Z";
    for (const char* moment : {"2028-06-01T00:00:00Z", "2030-06-01T00:00:00Z"}) {
        date = moment;
        EXPECT_EQ(evaluated("Short", "Root", {"Middle"}),
                  failed(-67818, quoted("Short") + " certificate is expired"));
        EXPECT_EQ(found, -25300) << "it is no identity";
        EXPECT_FALSE(openssl);
    }
}

TEST_F(CertificateZoo, ValidityIncludesBothEnds) {
    makeChain();
    workshop.make({.name = "Short",
                   .issuer = "Middle",
                   .extensions = leafExtensions,
                   .notBefore = "20290101000000Z",
                   .notAfter = "20300101000000Z"});
    handedOut = "2029-06-01T00:00:00Z";
    const std::string expired = failed(-67818, quoted("Short") + " certificate is expired");
    struct Moment {
        const char* date;
        bool isValid;
        bool isValidForOpenSSL; // which excludes the last second
    };
    const Moment moments[] = {
        {"2028-12-31T23:59:59Z", false, false}, {"2028-12-31T23:59:59.999999Z", false, false},
        {"2029-01-01T00:00:00Z", true, true},   {"2029-12-31T23:59:59Z", true, true},
        {"2030-01-01T00:00:00Z", true, false},  {"2030-01-01T00:00:00.000001Z", false, false}};
    for (const Moment& moment : moments) {
        date = moment.date;
        EXPECT_EQ(evaluated("Short", "Root", {"Middle"}), moment.isValid ? "trusted" : expired)
            << moment.date;
        EXPECT_EQ(found, moment.isValid ? 0 : -25300) << moment.date;
        EXPECT_EQ(openssl, moment.isValidForOpenSSL) << moment.date;
    }
}

TEST_F(CertificateZoo, AnExpiredIntermediate) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Middle",
                   .issuer = "Root",
                   .extensions = authorityExtensions,
                   .notAfter = "20300101000000Z"});
    workshop.makeLeaf("Leaf", "Middle");
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}),
              failed(-67818, quoted("Middle") + " certificate is expired"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnAnchorThatIsNotYetValid) {
    workshop.make(
        {.name = "Root", .extensions = authorityExtensions, .notBefore = "20310101000000Z"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67818, quoted("Root") + " certificate is expired"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnExpiredAnchor) {
    workshop.make(
        {.name = "Root", .extensions = authorityExtensions, .notAfter = "20300101000000Z"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67818, quoted("Root") + " certificate is expired"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, SignaturesOverSHA1AreAccepted) {
    workshop.makeAuthority("Root");
    workshop.make(
        {.name = "Leaf", .issuer = "Root", .extensions = leafExtensions, .digest = "sha1"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, SignaturesOverMD5AreNot) {
    const std::string rsa = "RSA -pkeyopt rsa_keygen_bits:1024";
    workshop.make({.name = "Root", .extensions = authorityExtensions, .key = rsa, .digest = "md5"});
    workshop.make({.name = "Leaf", .issuer = "Root", .extensions = leafExtensions});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted") << "a root's own signature says nothing";
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    workshop.make(
        {.name = "Weak", .issuer = "Root", .extensions = leafExtensions, .digest = "md5"});
    EXPECT_EQ(
        evaluated("Weak", "Root", {}),
        failed(-67815, quoted("Weak") + " certificate is using a broken signature algorithm"));
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl) << "openssl has no objection at its lowest level";
}

TEST_F(CertificateZoo, ProbabilisticSignatures) {
    workshop.make({.name = "Root",
                   .extensions = authorityExtensions,
                   .key = "RSA -pkeyopt rsa_keygen_bits:1024"});
    workshop.make({.name = "Leaf",
                   .issuer = "Root",
                   .extensions = leafExtensions,
                   .signing = "-sigopt rsa_padding_mode:pss"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, WeakKeys) {
    workshop.makeAuthority("Root");
    const std::string broken = " certificate is using a broken key size";
    const std::pair<const char*, const char*> keys[] = {
        {"RSA1023", "RSA -pkeyopt rsa_keygen_bits:1023"},
        {"Curve112", "EC -pkeyopt ec_paramgen_curve:secp112r1"},
        {"Curve160", "EC -pkeyopt ec_paramgen_curve:brainpoolP160r1"},
        {"Curve161", "EC -pkeyopt ec_paramgen_curve:secp160r1"},
        {"Koblitz256", "EC -pkeyopt ec_paramgen_curve:secp256k1"},
        {"Brainpool256", "EC -pkeyopt ec_paramgen_curve:brainpoolP256r1"},
    };
    for (const auto& [name, key] : keys) {
        workshop.make({.name = name, .issuer = "Root", .extensions = leafExtensions, .key = key});
        EXPECT_EQ(evaluated(name, "Root", {}), failed(-67735, quoted(name) + broken));
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl) << "openssl has no objection at its lowest level";
    }
}

TEST_F(CertificateZoo, TheCurvesOfThePlatform) {
    workshop.makeAuthority("Root");
    for (const std::string curve : {"P-192", "P-224", "P-256", "P-384", "P-521"}) {
        workshop.make({.name = curve,
                       .issuer = "Root",
                       .extensions = leafExtensions,
                       .key = "EC -pkeyopt ec_paramgen_curve:" + curve});
        EXPECT_EQ(evaluated(curve, "Root", {}), "trusted") << curve;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
    }
    workshop.make({.name = "Explicit",
                   .issuer = "Root",
                   .extensions = leafExtensions,
                   .key = "EC -pkeyopt ec_paramgen_curve:P-256 -pkeyopt ec_param_enc:explicit"});
    EXPECT_EQ(evaluated("Explicit", "Root", {}),
              failed(-67735, quoted("Explicit") + " certificate is using a broken key size"));
}

TEST_F(CertificateZoo, AWeakAnchorKeyOutweighsALeafThatExpires) {
    workshop.make({.name = "Root",
                   .extensions = authorityExtensions,
                   .notAfter = "20300101000000Z",
                   .key = "RSA -pkeyopt rsa_keygen_bits:1023"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67735, quoted("Root") + " certificate is using a broken key size"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnIssuerThatIsNoAuthority) {
    workshop.makeAuthority("Root");
    workshop.makeLeaf("Middle", "Root");
    workshop.makeLeaf("Leaf", "Middle");
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}),
              failed(-67605, quoted("Middle") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnIssuerWithoutBasicConstraints) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Middle", .issuer = "Root", .extensions = "keyUsage=keyCertSign\n"});
    workshop.makeLeaf("Leaf", "Middle");
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}),
              failed(-67604, quoted("Middle") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnOldAnchorIsAnAuthority) {
    workshop.make({.name = "Root"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, AnOldIntermediateIsOneUnderAnOldAnchorAlone) {
    workshop.make({.name = "Old"});
    workshop.makeAuthority("New");
    for (const std::string root : {"Old", "New"}) {
        workshop.make({.name = "Middle" + root, .issuer = root});
        workshop.makeLeaf("Leaf" + root, "Middle" + root);
    }
    EXPECT_EQ(evaluated("LeafOld", "Old", {"MiddleOld"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl) << "openssl refuses every old intermediate";
    EXPECT_EQ(evaluated("LeafNew", "New", {"MiddleNew"}),
              failed(-67604, quoted("MiddleNew") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnIssuerThatMayNotSign) {
    workshop.make({.name = "Root",
                   .extensions = "basicConstraints=critical,CA:true\n"
                                 "keyUsage=digitalSignature\n"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67608, quoted("Root") + " certificate is not permitted for this usage"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, ARenewedIntermediateInBothOrders) {
    workshop.makeAuthority("Root");
    for (const std::string name : {"First", "Second"}) {
        workshop.make({.name = name,
                       .subject = "/CN=Middle",
                       .issuer = "Root",
                       .extensions = authorityExtensions});
        workshop.makeLeaf("LeafOf" + name, name);
    }
    for (const std::string leaf : {"LeafOfFirst", "LeafOfSecond"}) {
        EXPECT_EQ(evaluated(leaf, "Root", {"First", "Second"}), "trusted") << leaf;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
        EXPECT_EQ(evaluated(leaf, "Root", {"Second", "First"}), "trusted") << leaf;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
    }
    EXPECT_EQ(evaluated("LeafOfFirst", "Root", {"Second"}),
              failed(-25318, quoted("LeafOfFirst") + " certificate is not trusted"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, PathLength) {
    workshop.make({.name = "Root", .extensions = "basicConstraints=critical,CA:true,pathlen:0\n"});
    workshop.makeAuthority("Middle", "Root");
    workshop.makeLeaf("Leaf", "Middle");
    workshop.makeLeaf("Direct", "Root");
    EXPECT_EQ(evaluated("Direct", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}),
              failed(-67611, quoted("Root") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, SelfIssuedCertificatesDoNotCountForThePathLength) {
    workshop.make({.name = "Root", .extensions = "basicConstraints=critical,CA:true,pathlen:0\n"});
    workshop.make({.name = "Renewed",
                   .subject = "/CN=Root",
                   .issuer = "Root",
                   .extensions = authorityExtensions});
    workshop.makeLeaf("Leaf", "Renewed");
    EXPECT_EQ(evaluated("Leaf", "Root", {"Renewed"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, KeyIdentifiersThatDiffer) {
    workshop.make(
        {.name = "Root", .extensions = authorityExtensions + "subjectKeyIdentifier=01020304\n"});
    workshop.make({.name = "Leaf",
                   .issuer = "Root",
                   .extensions = leafExtensions + "authorityKeyIdentifier=keyid\n"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    workshop.make({.name = "Again",
                   .subject = "/CN=Root",
                   .extensions = authorityExtensions + "subjectKeyIdentifier=01020305\n",
                   .keyOf = "Root"});
    EXPECT_EQ(evaluated("Leaf", "Again", {}),
              failed(-67610, quoted("Leaf") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, UnknownCriticalExtensions) {
    const std::string unknown = "1.2.3.4=critical,ASN1:NULL\n";
    workshop.make({.name = "Root", .extensions = authorityExtensions + unknown});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted") << "an anchor's do not count";
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
    workshop.make(
        {.name = "Middle", .issuer = "Root", .extensions = authorityExtensions + unknown});
    workshop.makeLeaf("Below", "Middle");
    EXPECT_EQ(evaluated("Below", "Root", {"Middle"}),
              failed(-67603, quoted("Middle") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
    workshop.make({.name = "Odd", .issuer = "Root", .extensions = leafExtensions + unknown});
    EXPECT_EQ(evaluated("Odd", "Root", {}),
              failed(-67603, quoted("Odd") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, CriticalAddressBlocks) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Addresses",
                   .issuer = "Root",
                   .extensions = leafExtensions + "sbgp-ipAddrBlock=critical,IPv4:10.0.0.0/8\n"});
    workshop.make({.name = "Systems",
                   .issuer = "Root",
                   .extensions = leafExtensions + "sbgp-autonomousSysNum=critical,AS:64512\n"});
    for (const std::string leaf : {"Addresses", "Systems"}) {
        EXPECT_EQ(evaluated(leaf, "Root", {}),
                  failed(-67603, quoted(leaf) + " certificate is not standards compliant"));
        EXPECT_EQ(found, 0);
    }
}

TEST_F(CertificateZoo, NameConstraints) {
    workshop.make(
        {.name = "Root",
         .extensions = authorityExtensions + "nameConstraints=permitted;DNS:example.com\n"});
    workshop.make({.name = "Inside",
                   .issuer = "Root",
                   .extensions = leafExtensions + "subjectAltName=DNS:a.example.com\n"});
    workshop.make({.name = "Outside",
                   .issuer = "Root",
                   .extensions = leafExtensions + "subjectAltName=DNS:a.example.org\n"});
    EXPECT_EQ(evaluated("Inside", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    EXPECT_EQ(evaluated("Outside", "Root", {}),
              failed(-67689, quoted("Outside") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, RequiredPolicies) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Middle",
                   .issuer = "Root",
                   .extensions = authorityExtensions + "policyConstraints=requireExplicitPolicy:0\n"
                                                       "certificatePolicies=1.2.3.4\n"});
    workshop.make({.name = "With",
                   .issuer = "Middle",
                   .extensions = leafExtensions + "certificatePolicies=1.2.3.4\n"});
    workshop.makeLeaf("Without", "Middle");
    EXPECT_EQ(evaluated("With", "Root", {"Middle"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    EXPECT_EQ(evaluated("Without", "Root", {"Middle"}),
              failed(-67835, quoted("Without") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl) << "openssl looks at policies when it is told to";
}

TEST_F(CertificateZoo, AnEmptySubject) {
    workshop.makeAuthority("Root");
    workshop.make(
        {.name = "Empty", .subject = "/", .issuer = "Root", .extensions = leafExtensions});
    EXPECT_EQ(evaluated("Empty", "Root", {}),
              failed(-67655, "The subject of the certificate is empty."));
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
    workshop.make({.name = "Named",
                   .subject = "/",
                   .issuer = "Root",
                   .extensions = leafExtensions + "subjectAltName=critical,DNS:a.example\n"});
    EXPECT_EQ(evaluated("Named", "Root", {}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, NamesOfEveryKind) {
    workshop.makeAuthority("Root");
    struct Name {
        const char* subject;
        const char* stringMask;
        const char* summary;
    };
    const Name names[] = {
        {"/CN=first/CN=second", "utf8only", "second, first"},
        {"/O=Firm/OU=Unit", "utf8only", "Unit"},
        {"/CN=b\u00FCcher \u20AC \U0001F511", "utf8only", "b\u00FCcher \u20AC \U0001F511"},
        {"/CN=b\u00FCcher \u20AC", "MASK:0x800", "b\u00FCcher \u20AC"}, // BMPString
        {"/CN=b\u00FCcher", "MASK:0x4", "b\u00FCcher"},                 // T61String
        {"/CN=plain", "MASK:0x2", "plain"},                             // PrintableString
    };
    for (const Name& name : names) {
        const auto order = [&](const char* file, const char* issuer, const char* notAfter) {
            return CertificateOrder{.name = file,
                                    .subject = name.subject,
                                    .issuer = issuer,
                                    .extensions = authorityExtensions,
                                    .notAfter = notAfter,
                                    .stringMask = name.stringMask};
        };
        // As the issuer, as the leaf, and in an error.
        workshop.make(order("Middle", "Root", "20340101000000Z"));
        workshop.makeLeaf("Leaf", "Middle");
        EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}), "trusted") << name.subject;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
        EXPECT_EQ(evaluated("Leaf", "Middle", {}), "trusted") << name.subject;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
        EXPECT_EQ(evaluated("Middle", "Root", {}), "trusted") << name.subject;
        EXPECT_EQ(found, 0);
        EXPECT_TRUE(openssl);
        workshop.make(order("Short", "Root", "20300101000000Z"));
        handedOut = "2029-06-01T00:00:00Z";
        EXPECT_EQ(evaluated("Short", "Root", {}),
                  failed(-67818, quoted(name.summary) + " certificate is expired"));
        EXPECT_EQ(found, -25300);
        EXPECT_FALSE(openssl);
        handedOut = today;
    }
}

TEST_F(CertificateZoo, BytesBehindACertificateDoNotCount) {
    makeChain();
    stored["Leaf"] = der("Leaf") + "more";
    stored["Middle"] = der("Middle") + std::string("\0more", 5);
    stored["Root"] = der("Root") + der("Leaf");
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_EQ(evaluated("Root", "Root", {}), "trusted") << "the anchor is recognised by its own";
    EXPECT_EQ(found, 0);
}

TEST_F(CertificateZoo, GarbageIsNoIdentityAndNoIssuer) {
    makeChain();
    workshop.make({.name = "Odd", .subject = "/CN=Middle", .issuer = "Root"});
    stored["Odd"] = der("Middle").substr(0, 200);
    EXPECT_EQ(evaluated("Leaf", "Root", {"Odd", "Middle"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_EQ(evaluated("Leaf", "Root", {"Odd"}),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
    EXPECT_EQ(found, -25300);
    VELSimulatedKeychain keychain;
    const VELSimulatedCertificates certificates(keychain);
    keychain.date = vel::momentOfText(today);
    keychain.identityList = {{.certificate = "garbage"}, {.certificate = der("Odd")}, {}};
    const auto root = certificates.parseCertificate(der("Root"));
    EXPECT_EQ(keychain.identities(root->normalizedSubject().value()).status, -25300);
}

TEST_F(CertificateZoo, ANameThatIsNoText) {
    workshop.makeAuthority("Root");
    std::string leaf = workshop.makeLeaf("Leaf", "Root");
    leaf.at(leaf.rfind("Leaf") + 1) = '\xFF';
    stored["Leaf"] = leaf;
    EXPECT_EQ(evaluated("Leaf", "Root", {}), failed(-67843, "The trust policy was not trusted."));
    EXPECT_EQ(found, 0) << "it is an identity";
}

TEST_F(CertificateZoo, AnUnreadableExtension) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Odd", .issuer = "Root", .extensions = "basicConstraints=DER:0500\n"});
    EXPECT_EQ(evaluated("Odd", "Root", {}),
              failed(-67618, quoted("Odd") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnExtensionThatIsThereTwice) {
    // The command writes none twice. An anchor's own signature says nothing, so it may be changed.
    std::string twice =
        workshop.make({.name = "Twice", .extensions = "1.2.3.4=ASN1:NULL\n1.2.3.5=ASN1:NULL\n"});
    EXPECT_EQ(evaluated("Twice", "Twice", {}), "trusted");
    EXPECT_EQ(found, 0);
    twice.at(twice.find("\x06\x03\x2A\x03\x05") + 4) = 4;
    stored["Twice"] = twice;
    EXPECT_EQ(evaluated("Twice", "Twice", {}),
              failed(-67903, quoted("Twice") + " certificate is not standards compliant"));
    EXPECT_EQ(found, 0);
}

TEST_F(CertificateZoo, AChangedSignature) {
    workshop.makeAuthority("Root");
    std::string leaf = workshop.makeLeaf("Leaf", "Root");
    leaf.back() = static_cast<char>(leaf.back() ^ 1);
    VELSimulatedKeychain keychain;
    const VELSimulatedCertificates certificates(keychain);
    keychain.date = vel::momentOfText(today);
    keychain.identityList.push_back({.certificate = leaf});
    const auto root = certificates.parseCertificate(der("Root"));
    const auto identities = keychain.identities(root->normalizedSubject().value());
    ASSERT_EQ(identities.status, 0);
    EXPECT_EQ(verdictOf(certificates, *identities.identities.front(), root),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
}

TEST_F(CertificateZoo, WithoutAnAnchorNothingIsTrusted) {
    makeChain();
    VELSimulatedKeychain keychain;
    const VELSimulatedCertificates certificates(keychain);
    const auto trust = certificates.createTrust(certificates.parseCertificate(der("Root")));
    std::optional<VELError> error;
    EXPECT_FALSE(trust.trust->evaluate(&error));
    EXPECT_EQ(error->message(), quoted("Root") + " certificate is not trusted");
}

TEST_F(CertificateZoo, ManyIntermediatesOfOneNameAreTriedUpToABound) {
    workshop.makeAuthority("Root");
    std::vector<std::string> pool;
    for (int number = 0; number < 12; ++number) {
        const std::string name = "Middle" + std::to_string(number);
        workshop.make({.name = name,
                       .subject = "/CN=Middle",
                       .issuer = "Root",
                       .extensions = authorityExtensions});
        pool.push_back(name);
    }
    workshop.makeLeaf("Leaf", "Middle11");
    EXPECT_EQ(evaluated("Leaf", "Root", pool), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, ACircleOfIssuersEnds) {
    workshop.makeAuthority("One");
    workshop.makeAuthority("Two");
    workshop.make({.name = "OneByTwo",
                   .subject = "/CN=One",
                   .issuer = "Two",
                   .extensions = authorityExtensions,
                   .keyOf = "One"});
    workshop.make({.name = "TwoByOne",
                   .subject = "/CN=Two",
                   .issuer = "One",
                   .extensions = authorityExtensions,
                   .keyOf = "Two"});
    workshop.makeAuthority("Root");
    workshop.makeLeaf("Leaf", "One");
    EXPECT_EQ(evaluated("Leaf", "Root", {"OneByTwo", "TwoByOne"}),
              failed(-25318, quoted("Two") + " certificate is not trusted"));
    EXPECT_EQ(found, -25300);
    EXPECT_FALSE(openssl);
    EXPECT_EQ(evaluated("Leaf", "Two", {"OneByTwo", "TwoByOne"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, ASelfSignedCertificateEndsItsChain) {
    workshop.makeAuthority("Root");
    workshop.make({.name = "Earlier",
                   .subject = "/CN=Root",
                   .extensions = authorityExtensions,
                   .notAfter = "20250101000000Z",
                   .keyOf = "Root"});
    // The anchor's key would verify it, and the anchor is expired.
    EXPECT_EQ(evaluated("Root", "Earlier", {"Earlier"}),
              failed(-67843, quoted("Root") + " certificate is not trusted"));
    EXPECT_EQ(found, 0);
    EXPECT_FALSE(openssl);
}

} // namespace
