// SPDX-License-Identifier: Apache-2.0
#include "Base/VELText.h"
#include "Benchmarks/RatioBenchmark.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

// What a comparison of versions costs as they grow: in components ("1.10.107...") and in digits of
// one number. Both texts are equal, so that each comparison reads them to their ends. The floor
// reads the same two texts byte by byte.

namespace {

using namespace vel::benchmarks;

constexpr double byteLimit = 2.0;
constexpr double growthLimit = 2.0;

std::string versionOfComponents(std::size_t count) {
    std::string version;
    for (std::size_t component = 0; component < count; ++component) {
        version += std::to_string(component * 97 % 1000) + ".";
    }
    version.pop_back();
    return version;
}

std::string versionOfDigits(std::size_t count) {
    std::string version;
    for (std::size_t digit = 0; digit < count; ++digit) {
        version += static_cast<char>('1' + digit % 9);
    }
    return version;
}

using VersionOf = std::string (*)(std::size_t count);

void compare(std::string_view left, std::string_view right) {
    benchmark::DoNotOptimize(left);
    benchmark::DoNotOptimize(right);
    if (vel::compareNumerically(left, right) != 0) {
        throw std::runtime_error("equal versions compare as different");
    }
}

void compareBytes(std::string_view left, std::string_view right) {
    benchmark::DoNotOptimize(left);
    benchmark::DoNotOptimize(right);
    const auto different = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    if (different.first != left.end()) {
        throw std::runtime_error("equal versions differ");
    }
}

void versionComparison(benchmark::State& state, VersionOf versionOf, const std::string& unit) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::string left = versionOf(count);
    const std::string right = left;
    measureRatio(
        state, "version comparison / bytes, " + std::to_string(count) + " " + unit, byteLimit,
        [&] { compare(left, right); }, [&] { compareBytes(left, right); });
}

/// One comparison against ten of a tenth: 1 when the cost is linear, 10 when it is quadratic.
void versionGrowth(benchmark::State& state, VersionOf versionOf, const std::string& unit) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const std::string left = versionOf(count);
    const std::string right = left;
    const std::string leftTenth = versionOf(count / 10);
    const std::string rightTenth = leftTenth;
    measureRatio(
        state, "version growth / ten of a tenth, " + std::to_string(count) + " " + unit,
        growthLimit, [&] { compare(left, right); },
        [&] {
            for (int part = 0; part < 10; ++part) {
                compare(leftTenth, rightTenth);
            }
        });
}

} // namespace

BENCHMARK_CAPTURE(versionComparison, components, versionOfComponents, "components")
    ->RangeMultiplier(10)
    ->Range(10, 100'000)
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK_CAPTURE(versionComparison, digits, versionOfDigits, "digits")
    ->RangeMultiplier(10)
    ->Range(10, 100'000)
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK_CAPTURE(versionGrowth, components, versionOfComponents, "components")
    ->RangeMultiplier(10)
    ->Range(100, 100'000)
    ->UseManualTime()
    ->Iterations(rounds);
BENCHMARK_CAPTURE(versionGrowth, digits, versionOfDigits, "digits")
    ->RangeMultiplier(10)
    ->Range(100, 100'000)
    ->UseManualTime()
    ->Iterations(rounds);
