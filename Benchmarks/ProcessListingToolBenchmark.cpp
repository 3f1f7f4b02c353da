// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// What listing the processes of this machine costs, from starting the program to its end, beside
// ps. It is time on the clock: most of it is spent in another process.

namespace {

using namespace vel::benchmarks;

constexpr double listingLimit = 0.5;
constexpr int listingsPerRound = 5;

/// Runs a program that lists processes, and reads what it prints to the end.
void list(const char* program) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    const VELDescriptor reader(ends[0]);
    VELDescriptor writer(ends[1]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, writer.get(), STDOUT_FILENO);
    std::string path = program;
    std::string argument = "-axc";
    std::array<char*, 3> arguments = {path.data(), argument.data(), nullptr};
    pid_t process = -1;
    const int problem =
        ::posix_spawn(&process, program, &actions, nullptr, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    writer.close();
    std::string listing;
    vel::readAll(reader.get(), listing);
    int status = -1;
    if (problem != 0 || ::waitpid(process, &status, 0) != process || status != 0 ||
        listing.size() < 100) {
        throw std::runtime_error(path + " failed");
    }
}

Nanoseconds timeOfListings(const char* program) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < listingsPerRound; ++i) {
        list(program);
    }
    return (std::chrono::steady_clock::now() - start) / static_cast<double>(listingsPerRound);
}

void processListingTool(benchmark::State& state) {
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        const Nanoseconds floor = timeOfListings("/bin/ps");
        const Nanoseconds subject = timeOfListings(VEL_LINUX_TOOLS_DIRECTORY "/process-listing");
        state.SetIterationTime(std::chrono::duration<double>(subject).count());
        ratios.push_back(subject / floor);
    }
    std::sort(ratios.begin(), ratios.end());
    const std::size_t count = ratios.size();
    measuredRatios().push_back({"Process listing / ps -axc", ratios[count / 2], ratios[count / 4],
                                ratios[count * 3 / 4], listingLimit});
}

BENCHMARK(processListingTool)->Iterations(rounds)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
