// SPDX-License-Identifier: Apache-2.0
#include "Platform/Simulated/VELSimulatedCertificates.h"

#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace {

using Certificates = std::vector<std::string>;

TEST(SimulatedKeychain, AnswersItsCertificatesInOrderUpToTheLimit) {
    VELSimulatedKeychain keychain;
    keychain.certificateList = {"a", "b", "c"};
    EXPECT_EQ(keychain.certificates(2).certificates, Certificates({"a", "b"}));
    EXPECT_EQ(keychain.certificates(9).certificates, Certificates({"a", "b", "c"}));
    EXPECT_EQ(keychain.counts.certificates, 2U);
}

TEST(SimulatedKeychain, AGivenStatusCountsWhateverThereIs) {
    VELSimulatedKeychain keychain;
    keychain.certificatesStatus = VELSecurityStatus::success;
    EXPECT_EQ(keychain.certificates(9).status, 0);
    keychain.certificateList = {"a"};
    keychain.certificatesStatus = VELSecurityStatus::notAvailable;
    EXPECT_EQ(keychain.certificates(9).status, -25291);
    EXPECT_TRUE(keychain.certificates(9).certificates.empty());
}

class SimulatedIdentities : public testing::Test {
protected:
    SimulatedIdentities() {
        keychain.date = vel::momentOfText("2030-01-01T00:00:00Z");
        keychain.identityList = {
            {.certificate = leaf}, {.certificate = "garbage"}, {.certificate = root}};
        anchor = certificates.parseCertificate(root);
        issuer = anchor->normalizedSubject().value();
    }

    CertificateWorkshop workshop;
    std::string root = workshop.makeAuthority("Root");
    std::string leaf = workshop.makeLeaf("Leaf", "Root");
    VELSimulatedKeychain keychain;
    VELSimulatedCertificates certificates{keychain};
    std::shared_ptr<const VELCertificate> anchor;
    std::string issuer;
};

TEST_F(SimulatedIdentities, AreAskedAboutCertificatesThatOtherMacsHaveParsed) {
    EXPECT_NE(certificates.parseCertificate(root), anchor);
    const VELSimulatedKeychain otherKeychain;
    VELSimulatedCertificates other{otherKeychain};
    certificates.parsed = other.parsed = std::make_shared<VELParsedCertificates>();
    const auto kept = certificates.parseCertificate(root);
    EXPECT_EQ(other.parseCertificate(root), kept);
    EXPECT_EQ(other.parseCertificate(root)->der(), root);
    EXPECT_NE(other.parseCertificate(leaf), kept);
    EXPECT_EQ(other.parseCertificate("garbage"), nullptr);
}

TEST_F(SimulatedIdentities, AreNotLookedForWhenAStatusIsGiven) {
    EXPECT_EQ(keychain.identities(issuer).identities.size(), 2U);
    keychain.identitiesStatus = VELSecurityStatus::notAvailable;
    EXPECT_EQ(keychain.identities(issuer).status, -25291);
    EXPECT_EQ(keychain.counts.identities, 2U);
}

TEST_F(SimulatedIdentities, NoneWithAStatusOfZeroIsAnEmptyList) {
    keychain.identityList.clear();
    EXPECT_EQ(keychain.identities(issuer).status, -25300);
    keychain.identitiesStatus = VELSecurityStatus::success;
    EXPECT_EQ(keychain.identities(issuer).status, 0);
    EXPECT_TRUE(keychain.identities(issuer).identities.empty());
}

TEST_F(SimulatedIdentities, AnAbsentDateIsNow) {
    const std::string future = workshop.make({.name = "Future",
                                              .issuer = "Root",
                                              .extensions = leafExtensions,
                                              .notBefore = "20400101000000Z",
                                              .notAfter = "20410101000000Z"});
    keychain.identityList = {{.certificate = future}};
    keychain.date.reset();
    EXPECT_EQ(keychain.identities(issuer).status, -25300);
    keychain.identityList = {{.certificate = leaf}};
    EXPECT_EQ(keychain.identities(issuer).status, 0);
}

TEST_F(SimulatedIdentities, FailWhereTheirKnobsSay) {
    keychain.identityList = {{.certificate = leaf, .certificateStatus = VELSecurityStatus{-1}},
                             {.certificate = leaf, .trustStatus = VELSecurityStatus{-2}},
                             {.certificate = leaf, .anchorsStatus = VELSecurityStatus{-3}}};
    const auto found = keychain.identities(issuer);
    ASSERT_EQ(found.identities.size(), 3U);
    EXPECT_EQ(found.identities[0]->copyCertificate().status, -1);
    EXPECT_EQ(found.identities[0]->copyCertificate().certificate, nullptr);
    EXPECT_EQ(certificates.createTrust(found.identities[1]->copyCertificate().certificate).status,
              -2);
    const auto trust = certificates.createTrust(found.identities[2]->copyCertificate().certificate);
    EXPECT_EQ(trust.status, 0);
    EXPECT_EQ(trust.trust->setOnlyAnchor(anchor), -3);
}

TEST_F(SimulatedIdentities, AKnownAnswerCountsWhateverTheIssuerAndTheDate) {
    keychain.date = vel::momentOfText("2060-01-01T00:00:00Z");
    keychain.identityQueries = {
        {.issuer = issuer, .identities = {{.certificate = root}, {.certificate = "garbage"}}},
        {.issuer = "none"},
        {.issuer = "failing", .status = VELSecurityStatus::notAvailable}};
    const auto found = keychain.identities(issuer);
    EXPECT_EQ(found.status, 0);
    ASSERT_EQ(found.identities.size(), 2U);
    EXPECT_EQ(found.identities[0]->copyCertificate().certificate->der(), root);
    EXPECT_EQ(found.identities[1]->copyCertificate().status, VELSecurityStatus::parameter);
    EXPECT_EQ(keychain.identities("none").status, -25300);
    EXPECT_EQ(keychain.identities("failing").status, -25291);
    EXPECT_EQ(keychain.identities(anchor->der()).status, -25300);
}

TEST_F(SimulatedIdentities, KnownTrustIsThatOfItsCertificateAndItsAnchor) {
    const std::string otherRoot = workshop.makeAuthority("Other");
    const auto certificate = certificates.parseCertificate(leaf);
    const auto evaluate = [&](const std::shared_ptr<const VELCertificate>& onlyAnchor) {
        std::optional<VELError> error;
        const auto created = certificates.createTrust(certificate);
        EXPECT_EQ(created.trust->setOnlyAnchor(onlyAnchor), 0);
        const bool isTrusted = created.trust->evaluate(&error);
        EXPECT_EQ(isTrusted, !error.has_value());
        return isTrusted ? "trusted" : error->message();
    };
    const auto other = certificates.parseCertificate(otherRoot);
    EXPECT_EQ(evaluate(anchor), "trusted");
    const std::string untrusted = evaluate(other);
    keychain.trustAnswers = {
        {.certificate = leaf,
         .anchor = root,
         .error = VELError::withLocalizedDescription("domain", 1, "not today")},
        {.certificate = root, .anchor = otherRoot, .isTrusted = true}};
    EXPECT_EQ(evaluate(anchor), "not today");
    // Of this anchor nothing is known: the chain is evaluated.
    EXPECT_EQ(evaluate(other), untrusted);
    keychain.trustAnswers = {{.certificate = leaf, .anchor = otherRoot, .isTrusted = true}};
    EXPECT_EQ(evaluate(other), "trusted");
    EXPECT_EQ(evaluate(anchor), "trusted");
    keychain.trustAnswers = {
        {.certificate = leaf, .anchor = root, .anchorsStatus = VELSecurityStatus{-3}}};
    EXPECT_EQ(certificates.createTrust(certificate).trust->setOnlyAnchor(anchor), -3);
    keychain.trustAnswers = {{.certificate = leaf, .trustStatus = VELSecurityStatus{-2}}};
    EXPECT_EQ(certificates.createTrust(certificate).status, -2);
}

TEST_F(SimulatedIdentities, AreCountedUntilTheyAreGivenBack) {
    {
        const auto found = keychain.identities(issuer);
        EXPECT_EQ(keychain.counts.handedOut, 2);
        const auto copied = found.identities.front()->copyCertificate();
        EXPECT_EQ(keychain.counts.handedOut, 3);
        const auto created = certificates.createTrust(copied.certificate);
        EXPECT_EQ(certificates.counts.handedOut, 1);
        EXPECT_EQ(created.trust->setOnlyAnchor(anchor), 0);
        std::optional<VELError> error;
        EXPECT_TRUE(created.trust->evaluate(&error));
        EXPECT_FALSE(error);
    }
    EXPECT_EQ(keychain.counts.handedOut, 0);
    EXPECT_EQ(certificates.counts.handedOut, 0);
    EXPECT_EQ(keychain.counts.identityCertificates, 1U);
    EXPECT_EQ(certificates.counts.trusts, 1U);
    EXPECT_EQ(certificates.counts.anchors, 1U);
    EXPECT_EQ(certificates.counts.evaluations, 1U);
}

TEST_F(SimulatedIdentities, AnAnchorMayBeAnIdentitysCertificate) {
    const auto found = keychain.identities(issuer);
    const auto trust = certificates.createTrust(found.identities[0]->copyCertificate().certificate);
    EXPECT_EQ(trust.trust->setOnlyAnchor(found.identities[1]->copyCertificate().certificate), 0);
    std::optional<VELError> error;
    EXPECT_TRUE(trust.trust->evaluate(&error));
}

TEST(DescribedKeychain, IsWhatTheMachineAnswers) {
    const auto machine = vel::machineFromDescription(R"({
        "date": "2030-01-01T00:00:00Z",
        "keychain": {
            "certificates": ["YQ==", "", "Yg=="], "certificatesStatus": -7,
            "identities": [{"certificate": "Yw=="},
                           {"certificate": "ZA==", "certificateStatus": -1, "trustStatus": 2147483647,
                            "anchorsStatus": -2147483648}],
            "identitiesStatus": 5}})",
                                                     nullptr);
    ASSERT_NE(machine, nullptr);
    const VELSimulatedKeychain& keychain = machine->keychainStore;
    EXPECT_EQ(keychain.date, vel::momentOfText("2030-01-01T00:00:00Z"));
    EXPECT_EQ(keychain.certificateList, Certificates({"a", "", "b"}));
    EXPECT_EQ(keychain.certificatesStatus, -7);
    EXPECT_EQ(keychain.identitiesStatus, 5);
    ASSERT_EQ(keychain.identityList.size(), 2U);
    EXPECT_EQ(keychain.identityList[0].certificate, "c");
    EXPECT_EQ(keychain.identityList[0].certificateStatus, 0);
    EXPECT_EQ(keychain.identityList[0].trustStatus, 0);
    EXPECT_EQ(keychain.identityList[0].anchorsStatus, 0);
    EXPECT_EQ(keychain.identityList[1].certificate, "d");
    EXPECT_EQ(keychain.identityList[1].certificateStatus, -1);
    EXPECT_EQ(keychain.identityList[1].trustStatus, 2147483647);
    EXPECT_EQ(keychain.identityList[1].anchorsStatus, -2147483647 - 1);
    EXPECT_EQ(&machine->keychain(), &keychain);
}

TEST(DescribedKeychain, IsEmptyWhenItIsNotDescribed) {
    for (const char* text :
         {"{}", R"({"keychain": {}})", R"({"keychain": {"certificates": [], "identities": []}})"}) {
        const auto machine = vel::machineFromDescription(text, nullptr);
        ASSERT_NE(machine, nullptr);
        EXPECT_EQ(machine->keychainStore.date, std::nullopt);
        EXPECT_EQ(machine->keychain().certificates(9).status, -25300);
        EXPECT_EQ(machine->keychain().identities("\x30").status, -25300);
    }
}

TEST(DescribedKeychain, WhatIsWrongIsNamed) {
    const std::pair<const char*, const char*> wrong[] = {
        {R"({"date": null})", "date is not a string"},
        {R"({"date": "yesterday"})", "date is not an RFC 3339 time"},
        {R"({"keychain": []})", "keychain is not an object"},
        {R"({"keychain": {"x": 1}})", "unknown key \"x\" in keychain"},
        {R"({"keychain": {"certificates": {}}})", "keychain.certificates is not a list"},
        {R"({"keychain": {"certificates": ["", 1]}})", "keychain.certificates[1] is not a string"},
        {R"({"keychain": {"certificates": ["!"]}})", "keychain.certificates[0] is not base64"},
        {R"({"keychain": {"certificatesStatus": 1.0}})",
         "keychain.certificatesStatus is not an integer of 32 bits"},
        {R"({"keychain": {"identitiesStatus": 2147483648}})",
         "keychain.identitiesStatus is not an integer of 32 bits"},
        {R"({"keychain": {"identitiesStatus": -2147483649}})",
         "keychain.identitiesStatus is not an integer of 32 bits"},
        {R"({"keychain": {"identitiesStatus": 18446744073709551615}})",
         "keychain.identitiesStatus is not an integer of 32 bits"},
        {R"({"keychain": {"identities": null}})", "keychain.identities is not a list"},
        {R"({"keychain": {"identities": ["YQ=="]}})", "keychain.identities[0] is not an object"},
        {R"({"keychain": {"identities": [{}]}})", "keychain.identities[0] has no certificate"},
        {R"({"keychain": {"identities": [{"certificate": "YQ==", "key": 1}]}})",
         "unknown key \"key\" in keychain.identities[0]"},
        {R"({"keychain": {"identities": [{"certificate": "YQ"}]}})",
         "keychain.identities[0].certificate is not base64"},
        {R"({"keychain": {"identities": [{"certificate": "YQ==", "trustStatus": "0"}]}})",
         "keychain.identities[0].trustStatus is not an integer of 32 bits"},
    };
    for (const auto& [text, expected] : wrong) {
        std::string error;
        EXPECT_EQ(vel::machineFromDescription(text, &error), nullptr) << text;
        EXPECT_EQ(error, expected);
    }
}

} // namespace
