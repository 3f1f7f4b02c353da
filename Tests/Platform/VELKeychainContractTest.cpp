// SPDX-License-Identifier: Apache-2.0
#include "Platform/VELKeychain.h"

#include "Tests/Platform/ContractMachines.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/SecurityStatus.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Certificates = std::vector<std::string>;
using Names = std::optional<std::vector<std::string>>;

/// The summaries of the identities that an issuer finds, or the status.
Certificates summariesOf(const VELKeychain::IdentitiesResult& found) {
    Certificates summaries;
    if (found.status != 0) {
        EXPECT_TRUE(found.identities.empty());
        return {std::to_string(vel::integerOfStatus(found.status))};
    }
    for (const auto& identity : found.identities) {
        const auto copied = identity->copyCertificate();
        EXPECT_EQ(copied.status, 0);
        summaries.push_back(copied.certificate->subjectSummary().value());
    }
    return summaries;
}

class KeychainContract : public ContractTest {
protected:
    const VELKeychain& keychain() { return machine->keychain(); }
    const VELCertificates& certificates() { return machine->platform().certificates(); }

    std::string subjectOf(const std::string& der) {
        return certificates().parseCertificate(der)->normalizedSubject().value();
    }

    Certificates identitiesIssuedBy(const std::string& der) {
        return summariesOf(keychain().identities(subjectOf(der)));
    }

    /// What the evaluation of the only identity under `issuer` says with `anchor`.
    std::string evaluated(const std::string& issuer, const std::string& anchor) {
        const auto found = keychain().identities(subjectOf(issuer));
        if (found.identities.size() != 1) {
            return std::to_string(found.identities.size()) + " identities";
        }
        const auto trust =
            certificates().createTrust(found.identities.front()->copyCertificate().certificate);
        EXPECT_EQ(trust.status, 0);
        EXPECT_EQ(trust.trust->setOnlyAnchor(certificates().parseCertificate(anchor)), 0);
        return verdictOf(*trust.trust);
    }

    static std::string verdictOf(VELTrust& trust) {
        std::optional<VELError> error;
        if (trust.evaluate(&error)) {
            return error ? "trusted, with an error" : "trusted";
        }
        return error->domain() + " " + std::to_string(error->code()) + " " + error->message();
    }

    CertificateWorkshop workshop;
};
INSTANTIATE_TEST_SUITE_P(, KeychainContract, testing::ValuesIn(allMachines()), machineName);

TEST_P(KeychainContract, NothingIsNotFound) {
    const auto certificates = keychain().certificates(1000);
    EXPECT_EQ(certificates.status, -25300);
    EXPECT_TRUE(certificates.certificates.empty());
    EXPECT_EQ(summariesOf(keychain().identities("\x30")), Certificates({"-25300"}));
}

TEST_P(KeychainContract, CertificatesAreAnsweredInAStableOrderUpToTheLimit) {
    Certificates added;
    for (int number = 0; number < 12; ++number) {
        added.push_back("certificate " + std::to_string(number * 7 % 12));
        machine->addCertificate(added.back());
    }
    const auto all = keychain().certificates(1000);
    EXPECT_EQ(all.status, 0);
    EXPECT_TRUE(std::is_permutation(all.certificates.begin(), all.certificates.end(), added.begin(),
                                    added.end()));
    EXPECT_EQ(keychain().certificates(12).certificates, all.certificates);
    const auto some = keychain().certificates(5);
    EXPECT_EQ(some.status, 0);
    EXPECT_EQ(some.certificates,
              Certificates(all.certificates.begin(), all.certificates.begin() + 5));
}

TEST_P(KeychainContract, CertificatesKeepTheirBytes) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string odd = std::string("\0\n\xFF more", 8);
    machine->addCertificate(root + odd);
    machine->addCertificate(odd);
    machine->addIdentity(root);
    Certificates found = keychain().certificates(9).certificates;
    std::sort(found.begin(), found.end());
    EXPECT_EQ(found, Certificates({odd, root, root + odd}));
}

TEST_P(KeychainContract, CertificatesWithoutAKeyAreNoIdentities) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addCertificate(root);
    machine->addCertificate(workshop.makeLeaf("Leaf", "Root"));
    EXPECT_EQ(keychain().certificates(9).certificates.size(), 2U);
    EXPECT_EQ(identitiesIssuedBy(root), Certificates({"-25300"}));
    EXPECT_EQ(keychain().allIdentities().status, -25300);
}

TEST_P(KeychainContract, IdentitiesAreFoundByTheSubjectsOfTheirIssuers) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string middle = workshop.makeAuthority("Middle", "Root");
    const std::string missing = workshop.makeAuthority("Missing", "Root");
    const std::string other = workshop.makeAuthority("Other");
    machine->addCertificate(middle);
    machine->addIdentity(workshop.makeLeaf("Direct", "Root"));
    machine->addIdentity(workshop.makeLeaf("Indirect", "Middle"));
    machine->addIdentity(workshop.makeLeaf("Detached", "Missing"));
    machine->addIdentity("no certificate");
    machine->addIdentity(root);
    EXPECT_EQ(identitiesIssuedBy(root), Certificates({"Direct", "Indirect", "Root"}));
    EXPECT_EQ(identitiesIssuedBy(root), Certificates({"Direct", "Indirect", "Root"}));
    EXPECT_EQ(identitiesIssuedBy(middle), Certificates({"Indirect"}));
    EXPECT_EQ(identitiesIssuedBy(missing), Certificates({"Detached"}));
    EXPECT_EQ(identitiesIssuedBy(other), Certificates({"-25300"}));
    for (const char* noName : {"", "Root", "\x30"}) {
        EXPECT_EQ(summariesOf(keychain().identities(noName)), Certificates({"-25300"}));
    }
}

TEST_P(KeychainContract, AllIdentitiesAreTheseThatNoIssuerFindsToo) {
    machine->addCertificate(workshop.makeAuthority("Root"));
    const std::string early = workshop.make({.name = "Early",
                                             .issuer = "Root",
                                             .extensions = leafExtensions,
                                             .notBefore = "20310101000000Z"});
    const std::string orphan = workshop.makeLeaf("Orphan", "Root");
    machine->addIdentity(early);
    machine->addIdentity(orphan);
    const auto all = keychain().allIdentities();
    EXPECT_EQ(all.status, 0);
    Certificates found = all.certificates;
    std::sort(found.begin(), found.end());
    Certificates expected = {early, orphan};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(found, expected);
    EXPECT_LT(all.moment, vel::momentOfText("2031-01-01T00:00:00Z").value());
    machine->loseKeychain();
    EXPECT_EQ(keychain().allIdentities().status, -2070);
    EXPECT_TRUE(keychain().allIdentities().certificates.empty());
}

TEST_P(KeychainContract, IdentitiesAreFoundByNamesInNormalisedForm) {
    const auto order = [](const char* name, const char* subject) {
        return CertificateOrder{.name = name,
                                .subject = subject,
                                .extensions = authorityExtensions,
                                .stringMask = "MASK:0x2"}; // PrintableString alone
    };
    workshop.make(order("Root", "/CN=Some  Root"));
    const std::string again = workshop.make(order("Again", "/CN=SOME rOOT"));
    machine->addIdentity(workshop.makeLeaf("Leaf", "Root"));
    EXPECT_EQ(identitiesIssuedBy(again), Certificates({"Leaf"}));
}

TEST_P(KeychainContract, IdentitiesAreThoseThatAreValidNow) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addIdentity(workshop.make({.name = "Early",
                                        .issuer = "Root",
                                        .extensions = leafExtensions,
                                        .notBefore = "20290101000000Z",
                                        .notAfter = "20300101000000Z"}));
    machine->addIdentity(workshop.make({.name = "Late",
                                        .issuer = "Root",
                                        .extensions = leafExtensions,
                                        .notBefore = "20300101000000Z",
                                        .notAfter = "20310101000000Z"}));
    const std::pair<const char*, Certificates> moments[] = {
        {"2028-12-31T23:59:59Z", {"-25300"}},        {"2029-01-01T00:00:00Z", {"Early"}},
        {"2030-01-01T00:00:00Z", {"Early", "Late"}}, {"2030-01-01T00:00:01Z", {"Late"}},
        {"2031-01-01T00:00:01Z", {"-25300"}},
    };
    for (const auto& [moment, names] : moments) {
        machine->setDate(moment);
        EXPECT_EQ(identitiesIssuedBy(root), names) << moment;
    }
}

TEST_P(KeychainContract, AnIdentitysCertificateOutlivesTheAnswer) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string leaf = workshop.make({.name = "Leaf",
                                            .subject = "/CN=first/CN=second",
                                            .issuer = "Root",
                                            .extensions = leafExtensions});
    machine->addIdentity(leaf);
    VELIdentity::CertificateResult copied{};
    {
        const auto found = keychain().identities(subjectOf(root));
        ASSERT_EQ(found.identities.size(), 1U);
        copied = found.identities.front()->copyCertificate();
    }
    EXPECT_EQ(copied.status, 0);
    EXPECT_EQ(copied.certificate->der(), leaf);
    EXPECT_EQ(copied.certificate->commonNames(), Names({"first", "second"}));
    EXPECT_EQ(copied.certificate->subjectSummary(), "second, first");
    EXPECT_EQ(copied.certificate->normalizedSubject(), subjectOf(leaf));
}

TEST_P(KeychainContract, AnAnswerIsThatOfItsTime) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addIdentity(workshop.makeLeaf("Leaf", "Root"));
    const auto before = keychain().identities(subjectOf(root));
    machine->setDate("2040-01-01T00:00:00Z");
    EXPECT_EQ(summariesOf(before), Certificates({"Leaf"}));
    EXPECT_EQ(identitiesIssuedBy(root), Certificates({"-25300"}));
}

TEST_P(KeychainContract, TrustEndsAtTheOnlyAnchor) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string middle = workshop.makeAuthority("Middle", "Root");
    const std::string other = workshop.makeAuthority("Other");
    machine->addCertificate(middle);
    machine->addIdentity(workshop.makeLeaf("Leaf", "Middle"));
    EXPECT_EQ(evaluated(root, root), "trusted");
    EXPECT_EQ(evaluated(root, middle), "trusted");
    EXPECT_EQ(evaluated(root, other),
              "NSOSStatusErrorDomain -25318 \u201CMiddle\u201D certificate is not trusted");
}

TEST_P(KeychainContract, TrustNeedsTheIntermediate) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string middle = workshop.makeAuthority("Middle", "Root");
    machine->addIdentity(workshop.makeLeaf("Leaf", "Middle"));
    EXPECT_EQ(evaluated(middle, root),
              "NSOSStatusErrorDomain -25318 \u201CLeaf\u201D certificate is not trusted");
}

TEST_P(KeychainContract, TrustIsThatOfTheMomentOfItsEvaluation) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addIdentity(workshop.makeLeaf("Leaf", "Root"));
    const auto found = keychain().identities(subjectOf(root));
    ASSERT_EQ(found.identities.size(), 1U);
    const auto trust =
        certificates().createTrust(found.identities.front()->copyCertificate().certificate);
    EXPECT_EQ(trust.trust->setOnlyAnchor(certificates().parseCertificate(root)), 0);
    EXPECT_EQ(verdictOf(*trust.trust), "trusted");
    machine->setDate("2040-01-01T00:00:00Z");
    EXPECT_EQ(verdictOf(*trust.trust),
              "NSOSStatusErrorDomain -67818 \u201CLeaf\u201D certificate is expired");
    machine->setDate("2030-01-01T00:00:00Z");
    EXPECT_EQ(verdictOf(*trust.trust), "trusted");
}

TEST_P(KeychainContract, TheLastAnchorSetIsTheOnlyOne) {
    const std::string root = workshop.makeAuthority("Root");
    const std::string other = workshop.makeAuthority("Other");
    const auto trust = certificates().createTrust(
        certificates().parseCertificate(workshop.makeLeaf("Leaf", "Root")));
    ASSERT_EQ(trust.status, 0);
    const std::string untrusted =
        "NSOSStatusErrorDomain -25318 \u201CLeaf\u201D certificate is not trusted";
    EXPECT_EQ(verdictOf(*trust.trust), untrusted) << "there is no anchor";
    EXPECT_EQ(trust.trust->setOnlyAnchor(certificates().parseCertificate(root)), 0);
    EXPECT_EQ(verdictOf(*trust.trust), "trusted");
    EXPECT_EQ(trust.trust->setOnlyAnchor(certificates().parseCertificate(other)), 0);
    EXPECT_EQ(verdictOf(*trust.trust), untrusted);
}

class ForeignCertificate final : public VELCertificate {
public:
    [[nodiscard]] const std::string& der() const override { return _der; }
    [[nodiscard]] std::optional<std::vector<std::string>> commonNames() const override {
        return std::nullopt;
    }
    [[nodiscard]] std::optional<std::string> normalizedSubject() const override {
        return std::nullopt;
    }
    [[nodiscard]] std::optional<std::string> subjectSummary() const override {
        return std::nullopt;
    }

private:
    std::string _der;
};

TEST_P(KeychainContract, ACertificateOfAnotherPlatformIsAWrongParameter) {
    const auto foreign = std::make_shared<const ForeignCertificate>();
    for (const auto& wrong : {std::shared_ptr<const VELCertificate>(foreign), {}}) {
        const auto refused = certificates().createTrust(wrong);
        EXPECT_EQ(refused.status, -50);
        EXPECT_EQ(refused.trust, nullptr);
        const auto trust = certificates().createTrust(
            certificates().parseCertificate(workshop.makeAuthority("Root")));
        ASSERT_EQ(trust.status, 0);
        EXPECT_EQ(trust.trust->setOnlyAnchor(wrong), -50);
    }
}

TEST_P(KeychainContract, ACertificateIsParsedFromTheStartOfItsBytes) {
    const std::string root = workshop.makeAuthority("Root");
    for (const std::string& rest : {std::string(), std::string("\0rest", 5), root}) {
        const auto parsed = certificates().parseCertificate(root + rest);
        ASSERT_NE(parsed, nullptr);
        EXPECT_EQ(parsed->der(), root);
        EXPECT_EQ(certificates().commonNames(root + rest), Names({"Root"}));
    }
    for (const std::string& wrong :
         {std::string(), std::string("garbage"), root.substr(1), root.substr(0, root.size() - 1),
          std::string("\x30\x80\0\0", 4), std::string("\x30\x84\xFF\xFF\xFF\xFF", 6)}) {
        EXPECT_EQ(certificates().parseCertificate(wrong), nullptr);
        EXPECT_EQ(certificates().commonNames(wrong), std::nullopt);
    }
}

TEST_P(KeychainContract, CommonNamesAreThoseOfTheParsedCertificate) {
    const std::pair<const char*, Names> subjects[] = {
        {"/CN=one", {{"one"}}},
        {"/CN=one/O=between/CN=t\u00FC \u20AC", {{"one", "t\u00FC \u20AC"}}},
        {"/O=none", Names(std::in_place)},
    };
    for (auto [subject, names] : subjects) {
        if (machine->asksMacServices() && names == Names(std::in_place)) {
            names = std::nullopt; // a Mac does not tell none from one that cannot be decoded
        }
        const std::string der = workshop.make({.name = "Some", .subject = subject});
        EXPECT_EQ(certificates().commonNames(der), names) << subject;
        EXPECT_EQ(certificates().parseCertificate(der)->commonNames(), names) << subject;
    }
}

TEST_P(KeychainContract, StatusesHaveTexts) {
    const std::pair<std::int32_t, const char*> texts[] = {
        {0, "No error."},
        {-25300, "The specified item could not be found in the keychain."},
        {-50, "One or more parameters passed to a function were not valid."},
        {100'002, "UNIX[No such file or directory]"},
        {7, "OSStatus 7"},
        {-2147483647 - 1, "OSStatus -2147483648"},
    };
    for (const auto& [status, text] : texts) {
        EXPECT_EQ(keychain().statusText(VELSecurityStatus{status}), text);
    }
}

TEST_P(KeychainContract, SHA1IsThatOfTheStandard) {
    EXPECT_EQ(certificates().sha1("abc"),
              "\xA9\x99\x3E\x36\x47\x06\x81\x6A\xBA\x3E\x25\x71\x78\x50\xC2\x6C\x9C\xD0\xD8\x9D");
    EXPECT_EQ(certificates().sha1(""),
              "\xDA\x39\xA3\xEE\x5E\x6B\x4B\x0D\x32\x55\xBF\xEF\x95\x60\x18\x90\xAF\xD8\x07\x09");
}

TEST_P(KeychainContract, AQueryThatFailsAnswersItsStatusAndNothingElse) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addIdentity(root);
    EXPECT_EQ(keychain().certificates(9).status, 0);
    machine->loseKeychain();
    const auto certificates = keychain().certificates(9);
    EXPECT_EQ(certificates.status, -2070);
    EXPECT_TRUE(certificates.certificates.empty());
    EXPECT_EQ(identitiesIssuedBy(root), Certificates({"-2070"}));
    EXPECT_EQ(keychain().statusText(certificates.status), "An internal component failed.");
}

TEST_P(KeychainContract, AnswersOnSeveralThreads) {
    const std::string root = workshop.makeAuthority("Root");
    machine->addCertificate(workshop.makeAuthority("Middle", "Root"));
    machine->addIdentity(workshop.makeLeaf("Leaf", "Middle"));
    const VELKeychain& keychain = machine->keychain();
    std::vector<std::thread> threads;
    for (int number = 0; number < 3; ++number) {
        threads.emplace_back([&] {
            EXPECT_EQ(keychain.certificates(1000).certificates.size(), 2U);
            EXPECT_EQ(evaluated(root, root), "trusted");
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
