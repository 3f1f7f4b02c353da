// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Classes/Mac/VELCertificateCheck.h"
#include "Classes/Shared/VELDTLogger.h"
#include "Platform/Simulated/VELSimulatedPlatform.h"
#include "Platform/X509/VELOpenSSL.h"
#include "Tests/Support/CertificateWorkshop.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <openssl/sha.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

// What looking for a fingerprint costs beside the digests themselves, and what an evaluation of
// trust costs beside the verification of the chain by OpenSSL.

namespace {

using namespace vel::benchmarks;
using namespace vel::x509;

constexpr double searchLimit = 3.0;
constexpr double trustLimit = 1.5;
constexpr std::size_t certificateSize = 1536;

/// Takes every message and keeps none.
class SilentLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        benchmark::DoNotOptimize(message);
    }
};

std::vector<std::string> thousandCertificates() {
    CertificateWorkshop workshop;
    const auto make = [&](std::size_t comment) {
        return workshop.make(
            {.name = "Some",
             .extensions = leafExtensions + "nsComment=" + std::string(comment, 'x') + "\n"});
    };
    const std::size_t bare = make(800).size() - 800;
    std::vector<std::string> certificates(1000, make(certificateSize - bare));
    for (std::size_t number = 0; number < certificates.size(); ++number) {
        // Each has bytes of its own; only its signature is wrong for it.
        certificates[number].back() = static_cast<char>(number);
        certificates[number][certificates[number].size() - 2] = static_cast<char>(number >> 8U);
    }
    return certificates;
}

void certificateSearch(benchmark::State& state, bool isLogging) {
    const auto platform = std::make_shared<VELSimulatedPlatform>();
    platform->keychainStore.certificateList = thousandCertificates();
    const VELCertificateCheck check(platform);
    const VELValue wanted = std::string(40, '0');
    VELDTLogger::setLogger(isLogging ? std::make_shared<SilentLogger>() : nullptr);
    measureRatio(
        state,
        std::string("1,000 certificates / their SHA-1, ") + (isLogging ? "logged" : "not logged"),
        isLogging ? noLimit : searchLimit,
        [&] {
            if (check.certificateInstalledWithSHA1(wanted, nullptr)) {
                throw std::runtime_error("a certificate matches");
            }
        },
        [&] {
            std::array<unsigned char, SHA_DIGEST_LENGTH> digest{};
            for (const std::string& bytes : platform->keychainStore.certificateList) {
                SHA1(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                     digest.data());
                benchmark::DoNotOptimize(digest);
            }
        });
    VELDTLogger::setLogger(nullptr);
}

void verifyBare(X509* leaf, X509* intermediate, X509* root) {
    const StoreHandle store(X509_STORE_new());
    const CertificateListHandle intermediates(sk_X509_new_null());
    sk_X509_push(intermediates.get(), intermediate);
    X509_STORE_add_cert(store.get(), root);
    const StoreContextHandle context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), store.get(), leaf, intermediates.get());
    if (X509_verify_cert(context.get()) != 1) {
        throw std::runtime_error("the chain is not verified");
    }
}

void trustEvaluation(benchmark::State& state, const std::string& key, const std::string& name) {
    CertificateWorkshop workshop;
    const auto make = [&](const std::string& who, const std::string& issuer,
                          const std::string& extensions) {
        return workshop.make({.name = who, .issuer = issuer, .extensions = extensions, .key = key});
    };
    VELSimulatedKeychain keychain;
    const VELSimulatedCertificates certificates(keychain);
    const auto root = certificates.parseCertificate(make("Root", "", authorityExtensions));
    const std::string middle = make("Middle", "Root", authorityExtensions);
    keychain.certificateList = {middle};
    keychain.identityList = {{.certificate = make("Leaf", "Middle", leafExtensions)}};
    const auto found = keychain.identities(root->normalizedSubject().value());
    const auto leaf = found.identities.at(0)->copyCertificate().certificate;
    const auto decoded = [](const std::string& der) { return VELX509Certificate::parse(der); };
    const auto bareLeaf = decoded(leaf->der());
    const auto bareMiddle = decoded(middle);
    const auto bareRoot = decoded(root->der());
    measureRatio(
        state, "trust evaluation / X509_verify_cert, " + name, trustLimit,
        [&] {
            const auto created = certificates.createTrust(leaf);
            std::optional<VELError> error;
            if (created.trust->setOnlyAnchor(root) != VELSecurityStatus::success ||
                !created.trust->evaluate(&error)) {
                throw std::runtime_error("the identity is not trusted");
            }
        },
        [&] { verifyBare(bareLeaf->x509(), bareMiddle->x509(), bareRoot->x509()); });
}

} // namespace

BENCHMARK_CAPTURE(certificateSearch, notLogged, false)->UseManualTime()->Iterations(rounds);
BENCHMARK_CAPTURE(certificateSearch, logged, true)->UseManualTime()->Iterations(rounds);
BENCHMARK_CAPTURE(trustEvaluation, RSA, "RSA -pkeyopt rsa_keygen_bits:2048", "RSA")
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK_CAPTURE(trustEvaluation, EC, "EC -pkeyopt ec_paramgen_curve:P-256", "P-256")
    ->UseManualTime()
    ->Iterations(rounds);
