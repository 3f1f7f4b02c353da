// SPDX-License-Identifier: Apache-2.0
#include "Base/VELBase64.h"
#include "Benchmarks/RatioBenchmark.h"
#include "Platform/X509/VELOpenSSL.h"
#include "Tools/vel-posture/what-if/WhatIf.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// What trying a request on a described Mac costs. Without checks that need keys the floor is the
// JSON library's own parsing of the same line; with them, that and what OpenSSL alone needs to
// decode and verify the same chain.

namespace {

using namespace vel::benchmarks;
using namespace vel::x509;

constexpr double plainLimit = 5.0;
constexpr double certificateLimit = 1.3;

VELValue exampleOf(const std::string& name) {
    std::ifstream file(std::string(VEL_SOURCE_DIRECTORY "/Examples/") + name, std::ios::binary);
    return VELValue::parse(std::string(std::istreambuf_iterator<char>(file), {}));
}

/// The request with all checks; without those whose check needs keys unless `withKeys`.
VELValue requestOf(bool withKeys) {
    VELValue request = exampleOf("Requests/all-checks.json");
    VELValue& entries = request.at("mac");
    for (std::size_t index = entries.size(); index-- > 0;) {
        if (!withKeys && entries[index].at("type") == "perDeviceCertificatePresent") {
            entries.erase(index);
        }
    }
    return request;
}

/// One machine's answer as the program writes it. Throws unless the machine passes: what is refused
/// is fast.
void answer(const WhatIf& whatIf, const std::string& line) {
    const MachineAnswer answer = whatIf.answer(line);
    if (!answer.passes()) {
        throw std::runtime_error("the machine does not pass");
    }
    benchmark::DoNotOptimize(whatIf.text(answer, 1));
}

void addRate(benchmark::State& state, const std::string& line) {
    state.counters["line_bytes"] = static_cast<double>(line.size());
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void plainMachine(benchmark::State& state) {
    const WhatIf whatIf(Trial("request", requestOf(false).dump()));
    const std::string line = exampleOf("Machines/compliant.json").dump();
    measureRatio(
        state, "what-if, a machine without keys / parsing its line", plainLimit,
        [&] { answer(whatIf, line); }, [&] { benchmark::DoNotOptimize(VELValue::parse(line)); });
    addRate(state, line);
}

CertificateHandle decoded(const std::string& der) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(der.data());
    return made(CertificateHandle(d2i_X509(nullptr, &bytes, static_cast<long>(der.size()))));
}

/// What OpenSSL does at least: decodes the chain and verifies it.
void verify(const std::string& leafDER, const std::string& rootDER, std::time_t moment) {
    const CertificateHandle leaf = decoded(leafDER);
    const CertificateHandle root = decoded(rootDER);
    const StoreHandle store = made(StoreHandle(X509_STORE_new()));
    X509_STORE_add_cert(store.get(), root.get());
    const auto context = made(StoreContextHandle(X509_STORE_CTX_new()));
    X509_STORE_CTX_init(context.get(), store.get(), leaf.get(), nullptr);
    X509_STORE_CTX_set_time(context.get(), 0, moment);
    if (X509_verify_cert(context.get()) != 1) {
        throw std::runtime_error("the chain is not valid");
    }
}

void machineWithKeys(benchmark::State& state) {
    const VELValue request = requestOf(true);
    const WhatIf whatIf(Trial("request", request.dump()));
    const VELValue machine = exampleOf("Machines/compliant.json");
    const std::string line = machine.dump();
    const auto bytesOf = [](const VELValue& text) {
        return vel::bytesOfBase64(text.get<std::string>()).value();
    };
    const std::string leaf =
        bytesOf(machine.at("keychain").at("identities").at(0).at("certificate"));
    const std::string root = bytesOf(request.at("mac").back().at("cert"));
    constexpr std::time_t date = 1'768'478'400; // that of the machine
    measureRatio(
        state, "what-if, a machine with keys / parsing its line and OpenSSL", certificateLimit,
        [&] { answer(whatIf, line); },
        [&] {
            benchmark::DoNotOptimize(VELValue::parse(line));
            verify(leaf, root, date);
        });
    addRate(state, line);
}

} // namespace

BENCHMARK(plainMachine)->UseManualTime()->Iterations(rounds);
BENCHMARK(machineWithKeys)->UseManualTime()->Iterations(rounds);
