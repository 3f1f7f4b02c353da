// SPDX-License-Identifier: Apache-2.0
#include "Base/VELWildcard.h"
#include "Benchmarks/RatioBenchmark.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <stdexcept>
#include <string>

// What matching a domain costs as pattern and domain grow together. One match of a length against
// ten of a tenth of it: 1 when the cost is linear, 10 when it is quadratic. The pairs are those on
// which a search that starts again after each failure takes the longest.

namespace {

using namespace vel::benchmarks;

constexpr double growthLimit = 2.0;

struct Pair {
    std::string pattern;
    std::string domain;
    bool fits;
};

using PairOf = Pair (*)(std::size_t length);

std::string repeated(const std::string& unit, std::size_t length) {
    std::string text;
    while (text.size() < length) {
        text += unit;
    }
    return text.substr(0, length);
}

/// Nothing but stars.
Pair stars(std::size_t length) {
    return {std::string(length, '*'), std::string(length, 'a'), true};
}

/// A star after each letter, and a last letter that the domain lacks.
Pair starredLetters(std::size_t length) {
    return {repeated("a*", length - 1) + "b", std::string(length, 'a'), false};
}

/// One piece that fails at its last letter, at every place of the domain.
Pair lateFailure(std::size_t length) {
    return {std::string(length / 2, 'a') + "b", std::string(length, 'a'), false};
}

/// As many lines as characters, each of which fails at the last piece.
Pair lines(std::size_t length) {
    return {repeated("a*", length), repeated("aa\n", length), false};
}

void match(const Pair& pair) {
    benchmark::DoNotOptimize(pair.pattern.data());
    benchmark::DoNotOptimize(pair.domain.data());
    if (vel::matchesWildcard(pair.pattern, pair.domain) != pair.fits) {
        throw std::runtime_error("a pattern matches wrongly");
    }
}

void domainMatching(benchmark::State& state, PairOf pairOf, const std::string& kind) {
    const auto length = static_cast<std::size_t>(state.range(0));
    const Pair whole = pairOf(length);
    const Pair tenth = pairOf(length / 10);
    measureRatio(
        state, "domain matching / ten of a tenth, " + kind + ", " + std::to_string(length),
        growthLimit, [&] { match(whole); },
        [&] {
            for (int part = 0; part < 10; ++part) {
                match(tenth);
            }
        });
}

} // namespace

#define DOMAIN_MATCHING(pairs)                                                                     \
    BENCHMARK_CAPTURE(domainMatching, pairs, pairs, #pairs)                                        \
        ->RangeMultiplier(10)                                                                      \
        ->Range(100, 100'000)                                                                      \
        ->UseManualTime()                                                                          \
        ->Iterations(rounds)

DOMAIN_MATCHING(stars);
DOMAIN_MATCHING(starredLetters);
DOMAIN_MATCHING(lateFailure);
DOMAIN_MATCHING(lines);
