// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// Speed as a ratio: what is measured (the subject) against work that it cannot do without (the
/// floor), both timed in turns by the same run, so that a slow machine slows both down.
namespace vel::benchmarks {

/// A limit that no ratio exceeds: the ratio is for information.
inline constexpr double noLimit = 0.0;

/// One measured ratio and how much it may be at most.
struct Ratio {
    std::string name;
    double median;
    double lowerQuartile;
    double upperQuartile;
    double limit;
};

/// What was measured so far, in order. The program prints it at its end and fails when a median is
/// over its limit.
std::vector<Ratio>& measuredRatios();

/// Rounds of every measurement: an odd number, so that a median is one of the values.
inline constexpr benchmark::IterationCount rounds = 31;

using Nanoseconds = std::chrono::duration<double, std::nano>;

/// Processor time of this thread so far: what other programs take does not count.
Nanoseconds threadTime();

/// Mean time of one call of `work` over `calls` calls.
template <typename Work> Nanoseconds timeOf(const Work& work, std::size_t calls) {
    const Nanoseconds start = threadTime();
    for (std::size_t call = 0; call < calls; ++call) {
        work();
    }
    return (threadTime() - start) / static_cast<double>(calls);
}

/// How many calls of `work` take long enough for the clock.
template <typename Work> std::size_t callsPerRound(const Work& work) {
    constexpr Nanoseconds enough = std::chrono::microseconds(500);
    std::size_t calls = 1;
    while (timeOf(work, calls) * static_cast<double>(calls) < enough) {
        calls *= 2;
    }
    return calls;
}

/// Times `subject` and `floor` in turns, changing which goes first, and notes the median of the
/// rounds' ratios under `name`. The benchmark's own time is the subject's; it must have `rounds`
/// iterations and manual time.
template <typename Subject, typename Floor>
void measureRatio(benchmark::State& state, std::string name, double limit, const Subject& subject,
                  const Floor& floor) {
    const std::size_t subjectCalls = callsPerRound(subject);
    const std::size_t floorCalls = callsPerRound(floor);
    std::vector<double> ratios;
    std::vector<double> floorTimes;
    bool subjectFirst = true;
    for ([[maybe_unused]] auto _ : state) {
        Nanoseconds subjectTime{};
        if (subjectFirst) {
            subjectTime = timeOf(subject, subjectCalls);
        }
        const Nanoseconds floorTime = timeOf(floor, floorCalls);
        if (!subjectFirst) {
            subjectTime = timeOf(subject, subjectCalls);
        }
        subjectFirst = !subjectFirst;
        state.SetIterationTime(std::chrono::duration<double>(subjectTime).count());
        ratios.push_back(subjectTime / floorTime);
        floorTimes.push_back(floorTime.count());
    }
    std::sort(ratios.begin(), ratios.end());
    std::sort(floorTimes.begin(), floorTimes.end());
    const std::size_t count = ratios.size();
    const Ratio ratio{std::move(name), ratios[count / 2], ratios[count / 4], ratios[count * 3 / 4],
                      limit};
    state.counters["floor_ns"] = floorTimes[count / 2];
    state.counters["ratio"] = ratio.median;
    measuredRatios().push_back(ratio);
}

} // namespace vel::benchmarks
