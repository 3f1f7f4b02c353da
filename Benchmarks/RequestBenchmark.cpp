// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Platform/VELPlatform.h"
#include "vel_device_trust/VELHostLogger.h"
#include "vel_device_trust/VELPostureCheckItem.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

// What a request costs when its checks cost nothing: reading it, dispatching, timing, writing the
// result. The floor is the JSON library alone: its own reading of the same request and its writing
// of the same result.

namespace {

using namespace vel::benchmarks;

constexpr double requestLimit = 2.0;

class NothingToCheck final : public VELPostureCheckItem {
public:
    bool runCheckWithParameters(const VELDictionary& /*parameters*/,
                                std::optional<VELError>* /*error*/) const override {
        return true;
    }
};

class DroppingLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view message, std::int64_t /*level*/, const char* /*file*/,
                    const char* /*function*/, std::int32_t /*line*/) noexcept override {
        benchmark::DoNotOptimize(message.data());
    }
};

/// The text that stands for a root certificate: 1,100 bytes in base64, in lines of 64.
std::string certificateText() {
    constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < 1468; ++at) {
        if (at > 0 && at % 64 == 0) {
            text += '\n';
        }
        text += digits[at * at % 61];
    }
    return text;
}

/// One entry of each type, with parameters as long as an administrator's.
VELArray oneEntryOfEachType() {
    return VELArray::array(
        {{{"type", "localFirewall"}},
         {{"type", "fullDiskEncryption"}},
         {{"type", "certificatePresent"},
          {"sha1", "2F:D4:E1:C6:7A:2D:28:FC:ED:84:9E:E1:BB:76:E7:39:1B:93:EB:12"}},
         {{"type", "minimumOSVersion"}, {"version", "14.6.1"}},
         {{"type", "anyProcessRunning"},
          {"processes",
           {{{"name", "EndpointAgent"}, {"signingCertificateSubjectOU", "A1B2C3D4E5"}},
            {{"name", "/Applications/Sentinel.app/Contents/MacOS/SentinelDaemon"}},
            {{"name", "backup-agent"}, {"signingCertificateSubjectOU", "F6G7H8I9J0"}}}}},
         {{"type", "joinedToDomain"},
          {"names", {"corp.example.com", "*.corp.example.com", "*.emea.example.net"}}},
         {{"type", "perDeviceCertificatePresent"}, {"cert", certificateText()}}});
}

std::string requestOf(std::size_t entryCount) {
    const VELArray types = oneEntryOfEachType();
    VELDictionary request = VELValue::object();
    for (std::size_t entry = 0; entry < entryCount; ++entry) {
        request["mac"].push_back(types[entry % types.size()]);
    }
    return request.dump();
}

VELPostureCheckCatalogue catalogueOfNothing() {
    VELPostureCheckCatalogue catalogue;
    for (const VELValue& entry : oneEntryOfEachType()) {
        catalogue.emplace(entry.at("type").get<std::string>(),
                          std::make_shared<const NothingToCheck>());
    }
    return catalogue;
}

std::unique_ptr<VELPostureCheckRunner> runnerWith(std::shared_ptr<VELHostLogger> logger) {
    return VELPlatformRunnerFactory::runner("mac", catalogueOfNothing(), std::move(logger),
                                            VELPlatform::host());
}

/// The runner's result, parsed. Throws unless every entry passed: a refused request is fast.
VELDictionary resultOf(const VELPostureCheckRunner& runner, const std::string& request,
                       std::size_t entryCount) {
    VELDictionary result = VELValue::parse(runner.runPostureCheckFromDocumentString(request));
    if (result.value("pass", false) != true || result.at("checks").size() != entryCount) {
        throw std::runtime_error("the measured request did not pass");
    }
    return result;
}

void measureRequest(benchmark::State& state, const std::string& name, double limit,
                    std::shared_ptr<VELHostLogger> logger) {
    const auto entryCount = static_cast<std::size_t>(state.range(0));
    const std::string request = requestOf(entryCount);
    const auto runner = runnerWith(std::move(logger));
    const VELDictionary result = resultOf(*runner, request, entryCount);
    measureRatio(
        state, name + ", " + std::to_string(entryCount) + " entries", limit,
        [&] { benchmark::DoNotOptimize(runner->runPostureCheckFromDocumentString(request)); },
        [&] {
            benchmark::DoNotOptimize(VELValue::parse(request));
            benchmark::DoNotOptimize(result.dump());
        });
    state.counters["request_bytes"] = static_cast<double>(request.size());
}

void requestWithoutLogger(benchmark::State& state) {
    measureRequest(state, "request / JSON alone, no logger", requestLimit, nullptr);
}

void requestWithLogger(benchmark::State& state) {
    measureRequest(state, "request / JSON alone, dropping logger", noLimit,
                   std::make_shared<DroppingLogger>());
}

/// One request against ten of a tenth: 1 when the cost is linear, 10 when it is quadratic.
void requestGrowth(benchmark::State& state) {
    const auto entryCount = static_cast<std::size_t>(state.range(0));
    const std::string whole = requestOf(entryCount);
    const std::string tenth = requestOf(entryCount / 10);
    const auto runner = runnerWith(nullptr);
    resultOf(*runner, whole, entryCount);
    resultOf(*runner, tenth, entryCount / 10);
    measureRatio(
        state, "request growth / ten of a tenth, " + std::to_string(entryCount) + " entries",
        requestLimit,
        [&] { benchmark::DoNotOptimize(runner->runPostureCheckFromDocumentString(whole)); },
        [&] {
            for (int part = 0; part < 10; ++part) {
                benchmark::DoNotOptimize(runner->runPostureCheckFromDocumentString(tenth));
            }
        });
}

} // namespace

BENCHMARK(requestWithoutLogger)
    ->Arg(7)
    ->RangeMultiplier(10)
    ->Range(10, 10'000)
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK(requestWithLogger)->Arg(7)->UseManualTime()->Iterations(rounds);
BENCHMARK(requestGrowth)
    ->RangeMultiplier(10)
    ->Range(100, 10'000)
    ->UseManualTime()
    ->Iterations(rounds);
