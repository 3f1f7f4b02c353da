// SPDX-License-Identifier: Apache-2.0
#include "Base/VELMoment.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Tests/Support/CertificateWorkshop.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

// One identity, one anchor, and what the keychain holds beside: whether the identity is found by
// the anchor's name, what the evaluation says, and what openssl says of the same chain.

namespace {

constexpr const char* today = "2030-06-01T12:00:00Z";

/// What the evaluation of an identity says: "trusted", or the error's code and text.
std::string verdictOf(const VELKeychain& keychain, const VELIdentity& identity,
                      const std::shared_ptr<const VELCertificate>& anchor) {
    const auto copied = identity.copyCertificate();
    auto created = keychain.createTrust(copied.certificate);
    if (copied.status != 0 || created.status != 0 || created.trust->setOnlyAnchor(anchor) != 0) {
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

std::string quoted(const std::string& name) {
    return "\u201C" + name + "\u201D";
}

class CertificateZoo : public testing::Test {
protected:
    /// The evaluation of `leaf` with `anchor`, although the name of the anchor may not lead to it.
    std::string evaluated(const std::string& leaf, const std::string& anchor,
                          const std::vector<std::string>& pool) {
        VELSimulatedKeychain keychain;
        keychain.date = vel::momentOfText(date);
        keychain.identityList.push_back({.certificate = der(leaf)});
        for (const std::string& name : pool) {
            keychain.certificateList.push_back(der(name));
        }
        const auto parsedAnchor = keychain.parseCertificate(der(anchor));
        const auto parsedLeaf = keychain.parseCertificate(der(leaf));
        found = keychain.identities(parsedAnchor->normalizedSubject().value()).status;
        // Its own issuer finds every identity that is valid.
        const auto issuer = static_cast<const VELX509Certificate&>(*parsedLeaf).issuer().value();
        const auto identities = keychain.identities(issuer);
        const bool isValid = identities.status == 0;
        const std::string verdict =
            isValid ? verdictOf(keychain, *identities.identities.front(), parsedAnchor)
                    : "not valid now";
        EXPECT_EQ(keychain.counts.handedOut, isValid ? 1 : 0);
        openssl = workshop.opensslTrusts(
            leaf, anchor, pool,
            std::chrono::duration_cast<std::chrono::seconds>(keychain.date->time_since_epoch())
                .count());
        return verdict;
    }

    [[nodiscard]] std::string der(const std::string& name) const {
        return CertificateWorkshop::derOfFile(workshop.certificateFile(name));
    }

    void makeChain() {
        workshop.makeAuthority("Root");
        workshop.makeAuthority("Middle", "Root");
        workshop.makeLeaf("Leaf", "Middle");
    }

    CertificateWorkshop workshop;
    std::string date = today;
    std::int32_t found = 1; ///< the status of the search by the anchor's name
    bool openssl = false;
};

TEST_F(CertificateZoo, AChainWithItsIntermediateInTheKeychain) {
    makeChain();
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}), "trusted");
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl);
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
    EXPECT_EQ(evaluated("Leaf", "Old", {"New"}), "trusted");
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, AReissuedRootWithTheSameKey) {
    workshop.make({.name = "Old", .subject = "/CN=Root", .extensions = authorityExtensions});
    workshop.make(
        {.name = "New", .subject = "/CN=Root", .extensions = authorityExtensions, .keyOf = "Old"});
    workshop.makeLeaf("Leaf", "Old");
    EXPECT_EQ(evaluated("Leaf", "New", {"Old"}), "trusted");
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

TEST_F(CertificateZoo, AnExpiredLeafIsNoIdentity) {
    makeChain();
    workshop.make({.name = "Short",
                   .issuer = "Middle",
                   .extensions = leafExtensions,
                   .notBefore = "20290101000000Z",
                   .notAfter = "20300101000000Z"});
    EXPECT_EQ(evaluated("Short", "Root", {"Middle"}), "not valid now");
    EXPECT_EQ(found, -25300);
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, ValidityIncludesBothEnds) {
    makeChain();
    workshop.make({.name = "Short",
                   .issuer = "Middle",
                   .extensions = leafExtensions,
                   .notBefore = "20290101000000Z",
                   .notAfter = "20300101000000Z"});
    const std::pair<const char*, const char*> moments[] = {
        {"2028-12-31T23:59:59.999999Z", "not valid now"},
        {"2029-01-01T00:00:00Z", "trusted"},
        {"2030-01-01T00:00:00Z", "trusted"},
        {"2030-01-01T00:00:00.000001Z", "not valid now"}};
    for (const auto& [moment, verdict] : moments) {
        date = moment;
        EXPECT_EQ(evaluated("Short", "Root", {"Middle"}), verdict) << moment;
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

TEST_F(CertificateZoo, SignaturesOverSHA1AreAccepted) {
    workshop.makeAuthority("Root");
    workshop.make(
        {.name = "Leaf", .issuer = "Root", .extensions = leafExtensions, .digest = "sha1"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, SignaturesOverMD5AreNot) {
    const std::string rsa = "RSA -pkeyopt rsa_keygen_bits:1024";
    workshop.make({.name = "Root", .extensions = authorityExtensions, .key = rsa, .digest = "md5"});
    workshop.make({.name = "Leaf", .issuer = "Root", .extensions = leafExtensions});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted") << "a root's own signature says nothing";
    workshop.make(
        {.name = "Weak", .issuer = "Root", .extensions = leafExtensions, .digest = "md5"});
    EXPECT_EQ(
        evaluated("Weak", "Root", {}),
        failed(-67815, quoted("Weak") + " certificate is using a broken signature algorithm"));
    EXPECT_EQ(found, 0);
    EXPECT_TRUE(openssl) << "openssl has no objection at its lowest level";
}

TEST_F(CertificateZoo, WeakKeys) {
    workshop.makeAuthority("Root");
    const std::string broken = " certificate is using a broken key size";
    const std::pair<const char*, const char*> keys[] = {
        {"RSA1023", "RSA -pkeyopt rsa_keygen_bits:1023"},
        {"Curve112", "EC -pkeyopt ec_paramgen_curve:secp112r1"},
    };
    for (const auto& [name, key] : keys) {
        workshop.make({.name = name, .issuer = "Root", .extensions = leafExtensions, .key = key});
        EXPECT_EQ(evaluated(name, "Root", {}), failed(-67735, quoted(name) + broken));
        EXPECT_TRUE(openssl) << "openssl has no objection at its lowest level";
    }
    workshop.make({.name = "Curve160",
                   .issuer = "Root",
                   .extensions = leafExtensions,
                   .key = "EC -pkeyopt ec_paramgen_curve:secp160r1"});
    EXPECT_EQ(evaluated("Curve160", "Root", {}), "trusted");
}

TEST_F(CertificateZoo, AWeakAnchorKeyOutweighsALeafThatExpires) {
    workshop.make({.name = "Root",
                   .extensions = authorityExtensions,
                   .notAfter = "20300101000000Z",
                   .key = "RSA -pkeyopt rsa_keygen_bits:1023"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67735, quoted("Root") + " certificate is using a broken key size"));
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
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnOldAnchorIsAnAuthority) {
    workshop.make({.name = "Root"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
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
    EXPECT_FALSE(openssl) << "openssl refuses every old intermediate";
    EXPECT_EQ(evaluated("LeafNew", "New", {"MiddleNew"}),
              failed(-67604, quoted("MiddleNew") + " certificate is not standards compliant"));
    EXPECT_FALSE(openssl);
}

TEST_F(CertificateZoo, AnIssuerThatMayNotSign) {
    workshop.make({.name = "Root",
                   .extensions = "basicConstraints=critical,CA:true\n"
                                 "keyUsage=digitalSignature\n"});
    workshop.makeLeaf("Leaf", "Root");
    EXPECT_EQ(evaluated("Leaf", "Root", {}),
              failed(-67608, quoted("Root") + " certificate is not permitted for this usage"));
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
        EXPECT_EQ(evaluated(leaf, "Root", {"Second", "First"}), "trusted") << leaf;
        EXPECT_EQ(found, 0);
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
    EXPECT_EQ(evaluated("Leaf", "Root", {"Middle"}),
              failed(-67611, quoted("Root") + " certificate is not standards compliant"));
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
    EXPECT_TRUE(openssl);
}

TEST_F(CertificateZoo, KeyIdentifiersThatDiffer) {
    workshop.make(
        {.name = "Root", .extensions = authorityExtensions + "subjectKeyIdentifier=01020304\n"});
    workshop.make({.name = "Leaf",
                   .issuer = "Root",
                   .extensions = leafExtensions + "authorityKeyIdentifier=keyid\n"});
    EXPECT_EQ(evaluated("Leaf", "Root", {}), "trusted");
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
    EXPECT_FALSE(openssl);
    workshop.make(
        {.name = "Middle", .issuer = "Root", .extensions = authorityExtensions + unknown});
    workshop.makeLeaf("Below", "Middle");
    EXPECT_EQ(evaluated("Below", "Root", {"Middle"}),
              failed(-67603, quoted("Middle") + " certificate is not standards compliant"));
    workshop.make({.name = "Odd", .issuer = "Root", .extensions = leafExtensions + unknown});
    EXPECT_EQ(evaluated("Odd", "Root", {}),
              failed(-67603, quoted("Odd") + " certificate is not standards compliant"));
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
    EXPECT_TRUE(openssl);
    EXPECT_EQ(evaluated("Outside", "Root", {}),
              failed(-67900, quoted("Outside") + " certificate is not standards compliant"));
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
    EXPECT_EQ(evaluated("Without", "Root", {"Middle"}).substr(0, 29),
              "NSOSStatusErrorDomain -67901 ");
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
}

TEST_F(CertificateZoo, AChangedSignature) {
    workshop.makeAuthority("Root");
    std::string leaf = workshop.makeLeaf("Leaf", "Root");
    leaf.back() = static_cast<char>(leaf.back() ^ 1);
    VELSimulatedKeychain keychain;
    keychain.date = vel::momentOfText(today);
    keychain.identityList.push_back({.certificate = leaf});
    const auto root = keychain.parseCertificate(der("Root"));
    const auto identities = keychain.identities(root->normalizedSubject().value());
    ASSERT_EQ(identities.status, 0);
    EXPECT_EQ(verdictOf(keychain, *identities.identities.front(), root),
              failed(-25318, quoted("Leaf") + " certificate is not trusted"));
}

TEST_F(CertificateZoo, WithoutAnAnchorNothingIsTrusted) {
    makeChain();
    VELSimulatedKeychain keychain;
    const auto trust = keychain.createTrust(keychain.parseCertificate(der("Root")));
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
    EXPECT_EQ(evaluated("Leaf", "Two", {"OneByTwo", "TwoByOne"}), "trusted");
    EXPECT_EQ(found, 0);
}

} // namespace
