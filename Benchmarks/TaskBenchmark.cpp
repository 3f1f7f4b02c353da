// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Classes/Mac/NSTask+Timeout.h"
#include "Platform/POSIX/VELDescriptor.h"
#include "Platform/VELPlatform.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <fstream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// What it costs to run a tool that does nothing: against the bare calls that nobody can do without,
// and in a host that holds much memory against one that holds little. The clock is the wall clock:
// most of the time is the kernel's and the tool's.

extern char** environ;

namespace {

using namespace vel::benchmarks;

constexpr double bareLimit = 1.10;
constexpr double residentLimit = 1.2;
constexpr std::size_t residentSize = std::size_t{4} << 30U;
constexpr benchmark::IterationCount residentRounds = 7;
constexpr char tool[] = "/bin/true";

void requireSuccess(bool succeeded) {
    if (!succeeded) {
        throw std::runtime_error("/bin/true can not be run");
    }
}

void runWithATimeout() {
    const auto platform = VELPlatform::host();
    requireSuccess(
        runWithTimeout(platform->task(tool, {}, nullptr), toolTimeout, nullptr, *platform) == "");
}

/// A pipe, a spawn, a wait and a read to the end.
void runBare() {
    std::array<int, 2> ends{};
    requireSuccess(::pipe2(ends.data(), O_CLOEXEC) == 0);
    const VELDescriptor reader(ends[0]);
    VELDescriptor writer(ends[1]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, writer.get(), STDOUT_FILENO);
    std::string path = tool;
    std::array<char*, 2> words = {path.data(), nullptr};
    pid_t process = 0;
    requireSuccess(::posix_spawn(&process, tool, &actions, nullptr, words.data(), environ) == 0);
    ::posix_spawn_file_actions_destroy(&actions);
    writer.close();
    int status = -1;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    std::array<char, 4096> bytes{};
    const ssize_t count = ::read(reader.get(), bytes.data(), bytes.size());
    requireSuccess(status == 0 && count == 0);
}

template <typename Work> Nanoseconds wallTimeOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - start;
}

Nanoseconds median(std::vector<Nanoseconds> times) {
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void note(benchmark::State& state, const std::string& name, double limit,
          std::vector<double> ratios) {
    std::sort(ratios.begin(), ratios.end());
    const std::size_t count = ratios.size();
    const Ratio ratio{name, ratios[count / 2], ratios[count / 4], ratios[count * 3 / 4], limit};
    state.counters["ratio"] = ratio.median;
    measuredRatios().push_back(ratio);
}

/// Both in turns, call by call: what else the machine does hits both alike. A round's ratio is that
/// of the medians of its calls.
void bareSpawn(benchmark::State& state) {
    constexpr int calls = 20;
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        std::vector<Nanoseconds> subject;
        std::vector<Nanoseconds> floor;
        for (int call = 0; call < calls; ++call) {
            subject.push_back(wallTimeOf(runWithATimeout));
            floor.push_back(wallTimeOf(runBare));
        }
        state.SetIterationTime(std::chrono::duration<double>(median(subject)).count());
        ratios.push_back(median(subject) / median(floor));
    }
    note(state, "run of /bin/true / bare spawn, wait and read", bareLimit, std::move(ratios));
}

/// Memory that is really there as long as this lives.
class ResidentMemory {
public:
    ResidentMemory()
        : _memory(::mmap(nullptr, residentSize, PROT_READ | PROT_WRITE,
                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0)) {
        requireSuccess(_memory != MAP_FAILED);
    }
    ResidentMemory(const ResidentMemory&) = delete;
    ResidentMemory& operator=(const ResidentMemory&) = delete;
    ~ResidentMemory() { ::munmap(_memory, residentSize); }

private:
    void* _memory;
};

bool hasRoomForResidentMemory() {
    std::ifstream information("/proc/meminfo");
    std::string word;
    while (information >> word && word != "MemAvailable:") {
    }
    std::size_t kibibytes = 0;
    return (information >> kibibytes) &&
           kibibytes >= (residentSize >> 10U) + (std::size_t{1} << 20U);
}

Nanoseconds medianOfRuns() {
    constexpr int calls = 40;
    std::vector<Nanoseconds> times;
    for (int call = 0; call < calls; ++call) {
        times.push_back(wallTimeOf(runWithATimeout));
    }
    return median(std::move(times));
}

void residentHost(benchmark::State& state) {
    if (!hasRoomForResidentMemory()) {
        state.SkipWithError("less than 5 GiB of memory is available");
        return;
    }
    std::vector<double> ratios;
    for ([[maybe_unused]] auto _ : state) {
        const Nanoseconds before = medianOfRuns();
        Nanoseconds large{};
        {
            const ResidentMemory memory;
            large = medianOfRuns();
        }
        const Nanoseconds afterwards = medianOfRuns();
        state.SetIterationTime(std::chrono::duration<double>(large).count());
        ratios.push_back(large / ((before + afterwards) / 2));
    }
    note(state, "run of /bin/true, 4 GiB resident / none", residentLimit, std::move(ratios));
}

} // namespace

BENCHMARK(bareSpawn)->UseManualTime()->Iterations(rounds);
BENCHMARK(residentHost)->UseManualTime()->Iterations(residentRounds);
