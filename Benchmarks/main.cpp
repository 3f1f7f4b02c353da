// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"

#include <cstdio>
#include <ctime>
#include <exception>

namespace vel::benchmarks {

std::vector<Ratio>& measuredRatios() {
    static std::vector<Ratio> ratios;
    return ratios;
}

Nanoseconds threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

namespace {

/// Prints a line per ratio; whether all are within their limits.
bool report(const std::vector<Ratio>& ratios) {
    bool allWithin = true;
    std::printf("\n%-58s %7s  %-17s %6s\n", "Ratio (subject / floor, median)", "ratio", "quartiles",
                "limit");
    for (const Ratio& ratio : ratios) {
        std::printf("%-58s %7.2f  [%.2f, %.2f]%*s", ratio.name.c_str(), ratio.median,
                    ratio.lowerQuartile, ratio.upperQuartile, 5, "");
        if (ratio.limit == noLimit) {
            std::printf(" %6s\n", "-");
            continue;
        }
        const bool within = ratio.median <= ratio.limit;
        std::printf(" %6.2f  %s\n", ratio.limit, within ? "ok" : "TOO SLOW");
        allWithin = allWithin && within;
    }
    return allWithin;
}

} // namespace
} // namespace vel::benchmarks

/// Exit status: 0 all ratios within their limits; 1 one is not; 2 wrong use, or nothing measured.
int main(int argumentCount, char** arguments) {
    using namespace vel::benchmarks;
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) {
        return 2;
    }
    try {
        benchmark::RunSpecifiedBenchmarks();
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "vel_benchmarks: %s\n", exception.what());
        return 2;
    }
    benchmark::Shutdown();
    if (measuredRatios().empty()) {
        return 2;
    }
    return report(measuredRatios()) ? 0 : 1;
}
