// SPDX-License-Identifier: Apache-2.0
#include "Platform/X509/VELCertificateChain.h"
#include "Platform/X509/VELDERReader.h"
#include "Platform/X509/VELX509Trust.h"
#include "Tests/Support/CertificateForge.h"
#include "Tests/Support/CertificateWorkshop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The roots that the distribution packages, as they are and as another authority would certify
// them.

namespace {

using namespace vel::x509;
namespace der = vel::der;

struct Root {
    std::string file;
    std::string certificate;
};

/// A certificate taken apart: what `CertificateDraft` puts together again.
CertificateDraft draftOf(std::string_view certificate, const SigningKey& key) {
    const auto whole = der::Reader(certificate).next();
    const auto signedPart = der::Reader(whole->content).next();
    der::Reader parts(signedPart->content);
    const auto next = [&parts](std::uint8_t tag) {
        const auto element = parts.next(tag);
        return element ? std::string(element->whole) : std::string();
    };
    CertificateDraft draft("", "", key);
    draft.version = next(der::context(0));
    draft.serialNumber = next(der::integer);
    draft.algorithm = next(der::sequence);
    draft.issuer = next(der::sequence);
    draft.validity = next(der::sequence);
    draft.subject = next(der::sequence);
    draft.publicKey = next(der::sequence);
    draft.identifiers = next(der::contextPrimitive(1)) + next(der::contextPrimitive(2));
    if (const auto wrapper = parts.next(der::context(3))) {
        draft.extensions = der::Reader(wrapper->content).next()->content;
    }
    return draft;
}

/// The list of extensions without the authority key identifier.
std::string withoutAuthorityKey(const std::string& extensions) {
    std::string kept;
    der::Reader list(extensions);
    while (const auto extension = list.next()) {
        if (!extension->content.starts_with(objectIdentifier("2.5.29.35"))) {
            kept += extension->whole;
        }
    }
    return kept;
}

std::string verdict(const std::string& leaf, const std::string& anchor, VELMoment moment,
                    const std::vector<std::string>& issuers = {}) {
    VELX509Trust trust(
        VELX509Certificate::parse(leaf, std::make_shared<const VELCertificatePool>(issuers)),
        [moment] { return moment; });
    EXPECT_EQ(trust.setOnlyAnchor(VELX509Certificate::parse(anchor)), VELSecurityStatus::success);
    std::optional<VELError> error;
    return trust.evaluate(&error) ? "trusted"
                                  : std::to_string(error->code()) + " " + error->message();
}

/// The certificate's name as an error shows it.
std::string shownName(const std::string& certificate) {
    return "\u201C" + VELX509Certificate::parse(certificate)->subjectSummary().value() + "\u201D";
}

const std::string notTrusted = " certificate is not trusted";
const VELMoment newYear = vel::momentOfText("2030-01-01T00:00:00Z").value();
constexpr auto day = std::chrono::days(1);

class PackagedRoots : public testing::Test {
protected:
    void SetUp() override {
        const std::filesystem::path folder = "/usr/share/ca-certificates";
        if (!std::filesystem::exists(folder)) {
            GTEST_SKIP() << "the package ca-certificates is not installed";
        }
        for (const auto& file : std::filesystem::recursive_directory_iterator(folder)) {
            if (file.path().extension() == ".crt") {
                roots.push_back(
                    {file.path().filename(), CertificateWorkshop::derOfFile(file.path())});
            }
        }
        ASSERT_FALSE(roots.empty());
        authority.extensions = extensionOf("2.5.29.19", "\x30\x03\x01\x01\xFF") +
                               extensionOf("2.5.29.14", "\x04\x02\x41\x42");
        anchor = authority.madeBy(authorityKey);
    }

    /// The certificate that the other authority issues for the subject of `draft`.
    [[nodiscard]] std::string crossSigned(CertificateDraft draft) const {
        draft.algorithm = authorityKey.algorithm();
        draft.issuer = authority.subject;
        draft.validity = authority.validity;
        draft.extensions = withoutAuthorityKey(draft.extensions) +
                           extensionOf("2.5.29.35", "\x30\x04\x80\x02\x41\x42");
        return draft.madeBy(authorityKey);
    }

    std::vector<Root> roots;
    const SigningKey authorityKey = SigningKey::ellipticCurve();
    CertificateDraft authority{"Authority", "Authority", authorityKey};
    std::string anchor;
};

TEST_F(PackagedRoots, AreReadAndFailNoCheck) {
    for (const Root& each : roots) {
        SCOPED_TRACE(each.file);
        const auto root = VELX509Certificate::parse(each.certificate);
        ASSERT_NE(root, nullptr);
        const VELMoment moment = root->parts().notBefore + day;
        EXPECT_EQ(policyFailure({{root}, true}, moment), std::nullopt);
        EXPECT_EQ(anchorFailures(root, moment), std::vector<ChainCheck>());
    }
}

TEST_F(PackagedRoots, AreTrustedWithThemselvesAsAnchorWhileTheyAreValid) {
    for (const Root& each : roots) {
        SCOPED_TRACE(each.file);
        const auto root = VELX509Certificate::parse(each.certificate);
        const std::string name = shownName(each.certificate);
        const auto at = [&](VELMoment moment) {
            return verdict(each.certificate, each.certificate, moment);
        };
        EXPECT_EQ(at(root->parts().notBefore), "trusted");
        EXPECT_EQ(at(root->parts().notAfter), "trusted");
        for (const VELMoment outside :
             {root->parts().notBefore - day, root->parts().notAfter + day}) {
            EXPECT_EQ(at(outside), "-67818 " + name + " certificate is expired");
        }
        EXPECT_EQ(verdict(each.certificate, anchor, root->parts().notBefore),
                  "-67843 " + name + notTrusted);
    }
}

TEST_F(PackagedRoots, AreTrustedBelowAnAuthorityThatCertifiesThem) {
    for (const Root& each : roots) {
        SCOPED_TRACE(each.file);
        const CertificateDraft draft = draftOf(each.certificate, authorityKey);
        ASSERT_NE(each.certificate.find(draft.signedPart(authorityKey)), std::string::npos);
        const std::string crossed = crossSigned(draft);
        const auto parsed = VELX509Certificate::parse(crossed);
        ASSERT_NE(parsed, nullptr);
        const auto root = VELX509Certificate::parse(each.certificate);
        EXPECT_EQ(parsed->subject(), root->subject());
        EXPECT_EQ(parsed->subjectSummary(), root->subjectSummary());
        EXPECT_EQ(parsed->commonNames(), root->commonNames());
        EXPECT_EQ(verdict(crossed, anchor, newYear), "trusted");
        // The root of the same subject and key is another anchor.
        EXPECT_EQ(verdict(crossed, each.certificate, newYear),
                  "-25318 " + shownName(crossed) + notTrusted);
    }
}

/// The root's subject and extensions with a key that signs a leaf below it.
TEST_F(PackagedRoots, LeadFromALeafToEitherAnchor) {
    const SigningKey rootKey = SigningKey::ellipticCurve();
    CertificateDraft leafDraft("Leaf", "", SigningKey::ellipticCurve());
    for (const Root& each : roots) {
        SCOPED_TRACE(each.file);
        CertificateDraft draft = draftOf(each.certificate, rootKey);
        draft.algorithm = rootKey.algorithm();
        draft.publicKey = rootKey.publicKey();
        draft.validity = authority.validity;
        const std::string root = draft.madeBy(rootKey);
        const std::string crossed = crossSigned(draft);
        leafDraft.issuer = draft.subject;
        const std::string leaf = leafDraft.madeBy(rootKey);
        EXPECT_EQ(verdict(leaf, root, newYear), "trusted");
        EXPECT_EQ(verdict(leaf, root, newYear, {crossed, anchor}), "trusted");
        EXPECT_EQ(verdict(leaf, anchor, newYear, {crossed}), "trusted");
        EXPECT_EQ(verdict(leaf, anchor, newYear, {root, crossed}), "trusted");
        EXPECT_EQ(verdict(leaf, anchor, newYear, {root}), "-67843 " + shownName(root) + notTrusted);
    }
}

/// Two of one subject and one key that are not the same certificate.
TEST_F(PackagedRoots, AreNotTrustedBelowAnotherOneWithTheirSubjectAndKey) {
    std::map<std::string, std::vector<const Root*>> bySubjectAndKey;
    for (const Root& each : roots) {
        const CertificateDraft draft = draftOf(each.certificate, authorityKey);
        bySubjectAndKey[draft.subject + draft.publicKey].push_back(&each);
    }
    for (const auto& [key, same] : bySubjectAndKey) {
        for (const Root* one : same) {
            for (const Root* other : same) {
                const auto root = VELX509Certificate::parse(one->certificate);
                for (const VELMoment moment : {root->parts().notBefore, root->parts().notAfter}) {
                    EXPECT_EQ(
                        verdict(one->certificate, other->certificate, moment, {other->certificate}),
                        one == other ? "trusted"
                                     : "-67843 " + shownName(one->certificate) + notTrusted)
                        << one->file << " below " << other->file;
                }
            }
        }
    }
}

} // namespace
