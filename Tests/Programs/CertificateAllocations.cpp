// SPDX-License-Identifier: Apache-2.0
#include "Helpers/Linux/VELCertificateSubject.h"
#include "Helpers/Linux/VELDetachedSignature.h"
#include "Platform/Simulated/VELSimulatedCertificates.h"
#include "Platform/X509/VELSHA1.h"
#include "Tests/Support/CertificateForge.h"
#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/Oracle.h"
#include "Tests/Support/Sanitized.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <openssl/crypto.h>
#include <optional>
#include <string>
#include <unistd.h>
#include <variant>
#include <vector>

// Every allocation of OpenSSL (with a sanitizer, a sample of them) fails once, for each thing that
// is done with certificates: what must fail never passes, what has an answer has that one or none,
// and nothing crashes.

namespace {

unsigned long allocations = 0;
unsigned long failing = 0; ///< the number of the one that fails; 0: none

bool fails() {
    return ++allocations == failing;
}

void* allocate(std::size_t size, const char*, int) {
    return fails() ? nullptr : std::malloc(size);
}

void* reallocate(void* memory, std::size_t size, const char*, int) {
    return fails() ? nullptr : std::realloc(memory, size);
}

void release(void* memory, const char*, int) {
    std::free(memory);
}

/// What is done, and the only answer that it may have.
struct Work {
    std::string name;
    std::string answer;
    std::function<std::string()> run;
};

/// The answer; nothing when there was none.
std::optional<std::string> answerOf(const Work& work, unsigned long failingAllocation) {
    allocations = 0;
    failing = failingAllocation;
    std::optional<std::string> answer;
    try {
        answer = work.run();
    } catch (const std::exception&) {
    }
    failing = 0;
    return answer;
}

bool holds(const Work& work) {
    static_cast<void>(answerOf(work, 0)); // what is made once, is made now
    const auto answer = answerOf(work, 0);
    if (answer != work.answer) {
        std::printf("%s: %s\n", work.name.c_str(), answer.value_or("no answer").c_str());
        return false;
    }
    const unsigned long count = allocations;
    unsigned long wrong = 0;
    for (unsigned long number = 1; number <= count; number += sampleStep) {
        const auto other = answerOf(work, number);
        const bool isWrong = other && *other != work.answer && *other != "refused";
        wrong += isWrong ? 1UL : 0UL;
    }
    std::printf("%s: %lu allocations, %lu wrong answers\n", work.name.c_str(), count, wrong);
    return wrong == 0 && count > 0;
}

std::string trustOf(const std::string& leaf, const std::string& middle, const std::string& root) {
    VELSimulatedKeychain keychain;
    keychain.date = vel::momentOfText("2030-01-01T00:00:00Z");
    keychain.certificateList = {middle};
    keychain.identityList.push_back({.certificate = leaf});
    const VELSimulatedCertificates certificates(keychain);
    const auto anchor = certificates.parseCertificate(root);
    if (anchor == nullptr || !anchor->normalizedSubject()) {
        return "refused";
    }
    const auto found = keychain.identities(*anchor->normalizedSubject());
    if (found.identities.empty()) {
        return "refused";
    }
    auto created =
        certificates.createTrust(found.identities.front()->copyCertificate().certificate);
    static_cast<void>(created.trust->setOnlyAnchor(anchor));
    std::optional<VELError> error;
    return created.trust->evaluate(&error) ? "trusted" : "refused";
}

std::string bytesOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<Work> trustWorks(CertificateWorkshop& workshop) {
    const std::string rsa = "RSA -pkeyopt rsa_keygen_bits:1024";
    const std::string root =
        workshop.make({.name = "Root", .extensions = authorityExtensions, .key = rsa});
    const std::string middle = workshop.make(
        {.name = "Middle",
         .issuer = "Root",
         .extensions = authorityExtensions + "nameConstraints=excluded;DNS:example.org\n",
         .key = rsa});
    const auto leaf = [&](const std::string& name, const std::string& extensions) {
        return workshop.make(
            {.name = name, .issuer = "Middle", .extensions = leafExtensions + extensions});
    };
    const auto work = [=](const std::string& answer, const std::string& name,
                          const std::string& certificate) {
        return Work{name, answer, [=] { return trustOf(certificate, middle, root); }};
    };
    return {work("trusted", "a sound identity", leaf("Sound", "")),
            work("refused", "an excluded name", leaf("Named", "subjectAltName=DNS:example.org\n")),
            work("refused", "an unknown critical extension",
                 leaf("Unknown", "1.2.3.4=critical,ASN1:NULL\n"))};
}

/// A leaf that a root signed over MD5.
Work brokenDigest() {
    const SigningKey key = SigningKey::brokenRSA();
    CertificateDraft root("Root", "Root", key);
    root.extensions = extensionOf("2.5.29.19", bytesOfHexadecimal("30 03 01 01 FF"));
    const std::string anchor = root.madeBy(key);
    const std::string leaf = CertificateDraft("Leaf", "Root", key).madeBy(key);
    return {"a broken digest", "refused", [=] { return trustOf(leaf, "", anchor); }};
}

std::vector<Work> signatureWorks(CertificateWorkshop& workshop, const std::string& folder) {
    const std::string root = workshop.makeAuthority("Signers");
    const std::string leaf = workshop.makeLeaf("Signer", "Signers");
    // A certificate type that OpenSSL alone looks at, and cannot decode.
    workshop.make({.name = "Odd",
                   .issuer = "Signers",
                   .extensions = leafExtensions + "2.16.840.1.113730.1.1=DER:626164\n"});
    const std::string other = workshop.makeAuthority("Others");
    std::ofstream(folder + "/content") << "content";
    for (const std::string name : {"Signer", "Odd"}) {
        if (askOracle("openssl cms -sign -binary -outform DER -md sha256 -in " + folder +
                      "/content -signer " + workshop.certificateFile(name) + " -inkey " +
                      workshop.keyFile(name) + " -out " + folder + "/" + name)
                .status != 0) {
            return {};
        }
    }
    const auto work = [=](const std::string& name, const std::string& answer,
                          const std::string& signer, const std::vector<std::string>& anchors) {
        return Work{name, answer, [=] {
                        const int content = ::open((folder + "/content").c_str(), O_RDONLY);
                        const auto result = vel::verifyDetachedSignature(
                            bytesOf(folder + "/" + signer), content, &anchors);
                        ::close(content);
                        const auto* certificate = std::get_if<vel::SignerCertificate>(&result);
                        return certificate == nullptr ? std::string("refused")
                               : *certificate == leaf ? "accepted"
                                                      : "another certificate";
                    }};
    };
    return {work("a signature of a trusted signer", "accepted", "Signer", {root}),
            work("a signature of another signer", "refused", "Signer", {other}),
            work("a signer with a form that is not accepted", "refused", "Odd", {root}),
            {"the subject of a certificate", "/CN=Signer",
             [=] { return vel::certificateSubject(leaf).value_or("refused"); }}};
}

} // namespace

int main() {
    if (CRYPTO_set_mem_functions(allocate, reallocate, release) != 1) {
        return EXIT_FAILURE;
    }
    CertificateWorkshop workshop;
    TemporaryFolder folder;
    std::vector<Work> works = trustWorks(workshop);
    const auto signatures = signatureWorks(workshop, folder.path());
    works.insert(works.end(), signatures.begin(), signatures.end());
    works.push_back(brokenDigest());
    works.push_back({"a digest", vel::x509::sha1("abc"), [] { return vel::x509::sha1("abc"); }});
    bool isSound = signatures.size() == 4;
    for (const Work& work : works) {
        isSound = holds(work) && isSound;
    }
    return isSound ? EXIT_SUCCESS : EXIT_FAILURE;
}
