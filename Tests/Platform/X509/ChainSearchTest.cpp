// SPDX-License-Identifier: Apache-2.0
#include "Base/VELMoment.h"
#include "Platform/X509/VELCertificatePool.h"
#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Certificate.h"
#include "Platform/X509/VELX509Trust.h"
#include "Tests/Support/CertificateForge.h"

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// How far the search for a chain goes. Authorities of one name and one key differ in their serial
// number.

namespace {

using namespace std::string_literals;
namespace der = vel::der;

const SigningKey& key() {
    static const SigningKey one = SigningKey::ellipticCurve();
    return one;
}

const SigningKey& anotherKey() {
    static const SigningKey one = SigningKey::ellipticCurve();
    return one;
}

CertificateDraft authority(const std::string& name, const std::string& issuer) {
    CertificateDraft draft(name, issuer, key());
    draft.extensions = extensionOf("2.5.29.19", bytesOfHexadecimal("30030101ff"));
    return draft;
}

/// The authority "Middle" below "Root", number `number` of its kind, valid to the end of a year.
std::string middle(int number, const std::string& year, const SigningKey& ownKey = key()) {
    CertificateDraft draft = authority("Middle", "Root");
    draft.publicKey = ownKey.publicKey();
    const std::string serial = {'\x01', static_cast<char>(number / 128),
                                static_cast<char>(number % 128)};
    draft.serialNumber = der::element(0x02, serial);
    draft.validity = der::element(der::sequence, der::element(0x17, "200101000000Z") +
                                                     der::element(0x17, year + "1231235959Z"));
    return draft.madeBy(key());
}

/// "trusted", or the error.
std::string evaluated(const std::string& leafIssuer, const std::vector<std::string>& pool) {
    const std::string leaf = CertificateDraft("Leaf", leafIssuer, key()).madeBy(key());
    VELX509Trust trust(
        VELX509Certificate::parse(leaf, std::make_shared<const VELCertificatePool>(pool)),
        [] { return vel::momentOfText("2030-01-01T00:00:00Z").value(); });
    const std::string root = authority("Root", "Root").madeBy(key());
    EXPECT_EQ(trust.setOnlyAnchor(VELX509Certificate::parse(root)), VELSecurityStatus::success);
    std::optional<VELError> error;
    if (trust.evaluate(&error)) {
        return "trusted";
    }
    return std::to_string(error->code()) + " " + error->message();
}

/// A chain with so many authorities between "Root" and the leaf.
std::string evaluatedWithAuthorities(int count) {
    std::vector<std::string> pool;
    std::string above = "Root";
    for (int number = 1; number <= count; ++number) {
        const std::string name = "Authority " + std::to_string(number);
        pool.push_back(authority(name, above).madeBy(key()));
        above = name;
    }
    return evaluated(above, pool);
}

TEST(ChainSearch, FindsChainsOfSixteenCertificates) {
    EXPECT_EQ(evaluatedWithAuthorities(14), "trusted");
    EXPECT_EQ(evaluatedWithAuthorities(15),
              "-25318 \u201CAuthority 1\u201D certificate is not trusted");
}

TEST(ChainSearch, TriesSixtyFourChains) {
    std::vector<std::string> pool;
    while (pool.size() < 63) {
        pool.push_back(middle(static_cast<int>(pool.size()), "25"));
    }
    pool.push_back(middle(63, "35"));
    EXPECT_EQ(evaluated("Middle", pool), "trusted");
    pool.insert(pool.begin(), middle(64, "25"));
    EXPECT_EQ(evaluated("Middle", pool), "-67818 \u201CMiddle\u201D certificate is expired");
}

TEST(ChainSearch, VerifiesTwoHundredAndFiftySixSignatures) {
    std::vector<std::string> pool = {middle(255, "35")};
    while (pool.size() < 255) {
        pool.insert(pool.begin(), middle(static_cast<int>(pool.size()), "35", anotherKey()));
    }
    // Of two authorities called "Root" one has signed.
    CertificateDraft otherRoot = authority("Root", "Root");
    otherRoot.publicKey = anotherKey().publicKey();
    pool.push_back(otherRoot.madeBy(anotherKey()));
    EXPECT_EQ(evaluated("Middle", pool), "trusted");
    pool.insert(pool.begin(), middle(256, "35", anotherKey()));
    EXPECT_EQ(evaluated("Middle", pool), "-25318 \u201CMiddle\u201D certificate is not trusted");
    pool.insert(pool.begin(), middle(257, "35", anotherKey()));
    EXPECT_EQ(evaluated("Middle", pool), "-25318 \u201CLeaf\u201D certificate is not trusted");
}

TEST(ChainSearch, VerifiesTheSignatureOfAnOnlyIssuerWithTheChain) {
    std::vector<std::string> pool;
    while (pool.size() < 255) {
        pool.push_back(middle(static_cast<int>(pool.size()), "35", anotherKey()));
    }
    pool.push_back(middle(255, "35"));
    EXPECT_EQ(evaluated("Middle", pool), "trusted") << "after 256 signatures";
}

/// A false link that is alone at its place is followed first, with all chains that are behind it.
TEST(ChainSearch, FindsAChainThatTheFirstWalkDoesNotReach) {
    CertificateDraft wrong = authority("Middle", "Wrong");
    wrong.serialNumber = "\x02\x01\x08";
    CertificateDraft unsigning = authority("Wrong", "Upper");
    unsigning.publicKey = anotherKey().publicKey();
    std::vector<std::string> pool = {wrong.madeBy(key()), unsigning.madeBy(key())};
    while (pool.size() < 66) {
        CertificateDraft upper = authority("Upper", "Root");
        upper.serialNumber = "\x02\x02\x01"s + static_cast<char>(pool.size());
        pool.push_back(upper.madeBy(key()));
    }
    EXPECT_EQ(evaluated("Middle", pool), "-25318 \u201CMiddle\u201D certificate is not trusted");
    pool.push_back(middle(1, "35"));
    EXPECT_EQ(evaluated("Middle", pool), "trusted");
}

TEST(ChainSearch, FindsNothingWithoutAnAnchor) {
    const auto pool = std::make_shared<const VELCertificatePool>(std::vector{middle(1, "35")});
    const std::string leaf = CertificateDraft("Leaf", "Middle", key()).madeBy(key());
    VELX509Trust trust(VELX509Certificate::parse(leaf, pool),
                       [] { return vel::momentOfText("2030-01-01T00:00:00Z").value(); });
    std::optional<VELError> error;
    EXPECT_FALSE(trust.evaluate(&error));
    EXPECT_EQ(error.value().code(), -25318);
    EXPECT_EQ(error->message(), "\u201CMiddle\u201D certificate is not trusted");
}

TEST(ChainSearch, ReportsTheFirstOfTwoChainsThatFailAlike) {
    CertificateDraft first = authority("Middle", "First");
    CertificateDraft second = authority("Middle", "Second");
    const std::vector<std::string> above = {authority("First", "Nobody").madeBy(key()),
                                            authority("Second", "Nobody").madeBy(key())};
    std::vector<std::string> pool = {first.madeBy(key()), second.madeBy(key()), above[0], above[1]};
    EXPECT_EQ(evaluated("Middle", pool), "-25318 \u201CFirst\u201D certificate is not trusted");
    std::swap(pool[0], pool[1]);
    EXPECT_EQ(evaluated("Middle", pool), "-25318 \u201CSecond\u201D certificate is not trusted");
}

TEST(ChainSearch, FollowsALeafThatSharesTheKeyOfItsIssuer) {
    EXPECT_EQ(evaluated("Root", {}), "trusted");
}

} // namespace
