// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateParts.h"
#include "Platform/X509/VELDERReader.h"
#include "Tests/Support/CertificateForge.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

// The reading of certificates by itself: OpenSSL refuses most of the same forms once more.

namespace {

using namespace std::string_literals;
namespace der = vel::der;
using vel::x509::certificateParts;

const SigningKey& unusedKey() {
    static const SigningKey one = SigningKey::ellipticCurve();
    return one;
}

CertificateDraft plainDraft() {
    return {"Leaf", "Issuer", unusedKey()};
}

const std::string signatureBits = der::element(der::bitString, std::string(1, '\0'));

/// A certificate whose signature nobody looks at.
std::string unsealed(const CertificateDraft& draft) {
    return der::element(der::sequence,
                        draft.signedPart(unusedKey()) + unusedKey().algorithm() + signatureBits);
}

bool isRead(const CertificateDraft& draft) {
    return certificateParts(unsealed(draft)).has_value();
}

/// The last moment of a validity with the time, in seconds after 1970.
std::optional<long> secondsOfTime(std::uint8_t tag, const std::string& time) {
    CertificateDraft draft = plainDraft();
    draft.validity = der::element(der::sequence, der::element(der::utcTime, "2401010000Z") +
                                                     der::element(tag, time));
    const std::string certificate = unsealed(draft);
    const auto parts = certificateParts(certificate);
    if (!parts) {
        return std::nullopt;
    }
    const auto sinceEpoch = parts->notAfter.time_since_epoch();
    return std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch).count();
}

TEST(CertificatePartsAlone, AreAllThereAndNoMore) {
    const CertificateDraft draft = plainDraft();
    const std::string signedPart = draft.signedPart(unusedKey());
    const std::string algorithm = unusedKey().algorithm();
    const auto isReadAs = [](const std::string& content) {
        return certificateParts(der::element(der::sequence, content)).has_value();
    };
    EXPECT_TRUE(isReadAs(signedPart + algorithm + signatureBits));
    EXPECT_FALSE(isReadAs(signedPart + algorithm + signatureBits + "\x05\x00"s));
    EXPECT_FALSE(isReadAs(signedPart + algorithm));
    EXPECT_FALSE(isReadAs(signedPart + signatureBits));
    EXPECT_FALSE(isReadAs(algorithm + signatureBits));
    EXPECT_FALSE(isReadAs(algorithm + algorithm + signatureBits));
    EXPECT_FALSE(isReadAs(""));
    EXPECT_FALSE(certificateParts(""));
    EXPECT_FALSE(certificateParts(der::element(der::set, signedPart + algorithm + signatureBits)));

    const std::string certificate = unsealed(draft);
    const std::string followed = certificate + "more";
    EXPECT_EQ(certificateParts(followed).value().whole, certificate);
    EXPECT_EQ(certificateParts(followed)->subject, nameOf("Leaf"));
    EXPECT_EQ(certificateParts(followed)->issuer, nameOf("Issuer"));
    EXPECT_EQ(certificateParts(followed)->version, 3);
}

TEST(CertificatePartsAlone, OfTheSignedPartAreInTheirOrder) {
    CertificateDraft draft = plainDraft();
    EXPECT_TRUE(isRead(draft));
    const std::pair<const char*, std::string CertificateDraft::*> needed[] = {
        {"serial number", &CertificateDraft::serialNumber}, {"issuer", &CertificateDraft::issuer},
        {"validity", &CertificateDraft::validity},          {"subject", &CertificateDraft::subject},
        {"public key", &CertificateDraft::publicKey},
    };
    for (const auto& [nameOfPart, part] : needed) {
        for (const std::string& other : {""s, "\x05\x00"s}) {
            draft = plainDraft();
            draft.*part = other;
            EXPECT_FALSE(isRead(draft)) << nameOfPart;
        }
    }
    draft = plainDraft();
    draft.identifiers =
        der::element(der::context(3), der::element(der::sequence, extensionOf("1.2.3.4", "")));
    EXPECT_TRUE(isRead(draft));
    draft.identifiers += "\x05\x00"s;
    EXPECT_FALSE(isRead(draft)) << "behind the extensions";
    draft.identifiers = der::element(
        der::context(3), der::element(der::sequence, extensionOf("1.2.3.4", "")) + "\x05\x00"s);
    EXPECT_FALSE(isRead(draft)) << "behind their list";
}

TEST(CertificatePartsAlone, OfAnAlgorithmAreAnIdentifierAndOneParameter) {
    const std::string identifier = objectIdentifier("1.2.3");
    const std::pair<std::string, bool> contents[] = {
        {identifier, true},
        {identifier + "\x05\x00"s, true},
        {identifier + "\x05\x00\x05\x00"s, false},
        {identifier + "\x05\x01"s, false},
        {"\x05\x00"s, false},
    };
    for (const auto& [content, isAlgorithm] : contents) {
        CertificateDraft draft = plainDraft();
        draft.algorithm = der::element(der::sequence, content);
        EXPECT_EQ(isRead(draft), isAlgorithm);
    }
}

TEST(CertificatePartsAlone, HaveTimesOfDigits) {
    // Each digit in turn becomes the character in front of '0' or the one behind '9'.
    for (const std::string& time :
         {"301122102030Z"s, "3011221020Z"s, "301122102030+0130"s, "301122102030-0130"s}) {
        EXPECT_NE(secondsOfTime(der::utcTime, time), std::nullopt) << time;
        for (std::size_t place = 0; place < time.size(); ++place) {
            for (const char other : {'/', ':', ' ', '\xB0', '\0'}) {
                std::string changed = time;
                changed[place] = other;
                EXPECT_EQ(secondsOfTime(der::utcTime, changed), std::nullopt) << changed;
            }
            EXPECT_EQ(secondsOfTime(der::utcTime, time.substr(0, place)), std::nullopt);
            const std::string shorter = time.substr(0, place) + "Z";
            const bool isTime = place == 10 || place == 12;
            EXPECT_EQ(secondsOfTime(der::utcTime, shorter).has_value(), isTime) << shorter;
        }
        for (const char more : {'0', '9', 'Z', '+', ' '}) {
            EXPECT_EQ(secondsOfTime(der::utcTime, time + more), std::nullopt);
        }
    }
    const std::string general = "20301122102030Z";
    EXPECT_EQ(secondsOfTime(der::generalizedTime, general), 1'921'573'230);
    EXPECT_EQ(secondsOfTime(der::utcTime, "301122102030Z"), 1'921'573'230);
    EXPECT_EQ(secondsOfTime(der::utcTime, "301122102030+0130"), 1'921'573'230 - 5'400);
    EXPECT_EQ(secondsOfTime(der::utcTime, "301122102030-0130"), 1'921'573'230 + 5'400);
    for (std::size_t place = 0; place < general.size(); ++place) {
        std::string changed = general;
        changed[place] = ':';
        EXPECT_EQ(secondsOfTime(der::generalizedTime, changed), std::nullopt) << changed;
        const std::string shorter = general.substr(0, place) + "Z";
        EXPECT_EQ(secondsOfTime(der::generalizedTime, shorter).has_value(), place == 14);
    }
}

} // namespace
