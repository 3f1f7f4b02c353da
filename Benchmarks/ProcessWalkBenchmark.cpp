// SPDX-License-Identifier: Apache-2.0
#include "Benchmarks/RatioBenchmark.h"
#include "Helpers/Linux/VELProcessLister.h"
#include "Platform/POSIX/VELDescriptor.h"

#include <benchmark/benchmark.h>

#include <array>
#include <climits>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <unistd.h>

// What listing very many processes costs beside a bare walk through the same folders, which reads
// the same files and links and keeps nothing. The walk is linear, so a ratio that stays the same
// says that the listing is, too.

namespace {

namespace fs = std::filesystem;
using namespace vel::benchmarks;

constexpr double walkLimit = 1.5;
constexpr benchmark::IterationCount walkRounds = 11; // each takes a second

/// A folder like /proc, in memory where the machine has such a place.
class MadeProcesses {
public:
    explicit MadeProcesses(std::size_t count) {
        const fs::path parent = fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp";
        _folder = parent / "vel_benchmarks.XXXXXX";
        if (::mkdtemp(_folder.data()) == nullptr) {
            throw std::runtime_error("no folder for processes");
        }
        fs::path model;
        for (std::size_t process = 1; process <= count; ++process) {
            const fs::path folder = fs::path(_folder) / std::to_string(process);
            fs::create_directory(folder);
            if (process % processesPerModel == 1) {
                model = folder;
                write(folder / "stat");
                fs::create_symlink("/usr/lib/example/worker-service", folder / "exe");
            } else {
                fs::create_hard_link(model / "stat", folder / "stat");
                fs::create_hard_link(model / "exe", folder / "exe");
            }
        }
    }
    ~MadeProcesses() {
        std::error_code ignored;
        fs::remove_all(_folder, ignored);
    }
    MadeProcesses(const MadeProcesses&) = delete;
    MadeProcesses& operator=(const MadeProcesses&) = delete;

    [[nodiscard]] const std::string& folder() const { return _folder; }

private:
    static void write(const fs::path& path) {
        constexpr std::string_view stat =
            "4711 (worker-service) S 1 4711 4711 0 -1 4194560 23719 8812 11 4 5077 1322 88 31 20 0 "
            "4 0 2211 231325696 5121 18446744073709551615 1 1 0 0 0 0 0 4096 1260 0 0 0 17 3 0 0 0 "
            "0 0 0 0 0 0 0 0 0 0\n";
        const VELDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        if (!file || vel::writeAll(file.get(), stat) != 0) {
            throw std::runtime_error("cannot write " + path.string());
        }
    }

    // No file system lets a file have too many names.
    static constexpr std::size_t processesPerModel = 10'000;

    std::string _folder;
};

void walk(const std::string& path, std::size_t count) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), &::closedir);
    const int descriptor = ::dirfd(folder.get());
    std::size_t walked = 0;
    while (const dirent* entry = ::readdir(folder.get())) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const std::string name = entry->d_name;
        std::array<char, PATH_MAX> buffer; // NOLINT: filled by what follows
        const VELDescriptor file(
            ::openat(descriptor, (name + "/stat").c_str(), O_RDONLY | O_CLOEXEC));
        if (::read(file.get(), buffer.data(), buffer.size()) > 0 &&
            ::readlinkat(descriptor, (name + "/exe").c_str(), buffer.data(), buffer.size()) > 0) {
            ++walked;
        }
    }
    if (walked != count) {
        throw std::runtime_error("not all processes were read");
    }
}

void list(const std::string& path, std::size_t count) {
    const auto listing = vel::processListing(path);
    constexpr std::size_t shortestLine = sizeof "1 ?? 1:23.45 worker-service";
    if (!listing || listing->size() < count * shortestLine) {
        throw std::runtime_error("not all processes were listed");
    }
}

void processWalk(benchmark::State& state) {
    const auto count = static_cast<std::size_t>(state.range(0));
    const MadeProcesses processes(count);
    measureRatio(
        state, "listing of " + std::to_string(count) + " processes / bare walk", walkLimit,
        [&] { list(processes.folder(), count); }, [&] { walk(processes.folder(), count); });
}

} // namespace

BENCHMARK(processWalk)->Arg(1'000)->UseManualTime()->Iterations(rounds);
BENCHMARK(processWalk)->Arg(32'768)->Arg(100'000)->UseManualTime()->Iterations(walkRounds);
