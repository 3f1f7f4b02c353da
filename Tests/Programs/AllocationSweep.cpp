// SPDX-License-Identifier: Apache-2.0
#include "Classes/Mac/VELPostureCheckRunner+Mac.h"
#include "Classes/Mac/VELRunnerHandle.h"
#include "Platform/Simulated/VELMachineDescription.h"
#include "Tests/Support/SweepSet.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <exception>
#include <execinfo.h>
#include <filesystem>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

// Memory runs out in the C interface, for every request and every described Mac of Examples/: at
// one allocation alone, and at one and all that follow. All of malloc is meant, also what libraries
// take. Nothing passes then that does not pass otherwise, no handle is left, and nothing crashes
// but the destructor of a JSON value, which allocates.
//
// usage: allocation-sweep [STEP]: each STEP-th allocation only

extern "C" void* __libc_malloc(std::size_t);              // NOLINT(bugprone-reserved-identifier)
extern "C" void* __libc_calloc(std::size_t, std::size_t); // NOLINT(bugprone-reserved-identifier)
extern "C" void* __libc_realloc(void*, std::size_t);      // NOLINT(bugprone-reserved-identifier)

namespace {

constexpr unsigned long never = std::numeric_limits<unsigned long>::max();

unsigned long allocations = 0;
unsigned long firstFailing = never;
unsigned long lastFailing = never;

bool fails() {
    ++allocations;
    if (allocations < firstFailing || allocations > lastFailing) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

} // namespace

void* malloc(std::size_t size) noexcept {
    return fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* memory, std::size_t size) noexcept {
    return fails() ? nullptr : __libc_realloc(memory, size);
}

namespace {

/// How memory runs out.
enum Way { oneFails, allFail, ways };
constexpr const char* nameOfWay[] = {"alone", "and all after it"};

/// What the child that sweeps tells its parent, which takes over when it dies.
struct Progress {
    unsigned long count;  ///< allocations of the latest run
    unsigned long number; ///< the allocation that fails now
    int way;
    unsigned long runs;
    unsigned long wrong;
    std::array<void*, 64> stack; ///< where std::terminate was called from
    int depth;
};
Progress* progress = nullptr;

[[noreturn]] void noteStack() {
    firstFailing = never;
    progress->depth = ::backtrace(progress->stack.data(), static_cast<int>(progress->stack.size()));
    ::_exit(3);
}

class IgnoringLogger final : public VELHostLogger {
public:
    void logMessage(std::string_view, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {}
};

/// A request and a described Mac.
struct Pair {
    std::string name;
    std::string request;
    std::string machine;

    /// The result of the C interface while memory runs out at the allocation `number`.
    [[nodiscard]] Verdict run(unsigned long number, int way) const {
        std::string error;
        const auto mac = vel::machineFromDescription(machine, &error);
        const vel_runner runner{VELPlatformRunnerFactory::macPostureCheckRunner(
            std::make_shared<IgnoringLogger>(), mac)};
        std::size_t length = 0;
        allocations = 0;
        lastFailing = way == oneFails ? number : never;
        firstFailing = number;
        char* text = vel_runner_run(&runner, request.data(), request.size(), &length);
        firstFailing = never;
        progress->count = allocations;
        const Verdict verdict(std::string_view(text, length));
        vel_result_free(text);
        if (mac->disks.counts.handedOut + mac->keychainStore.counts.handedOut +
                mac->certificateStore.counts.handedOut !=
            0) {
            say("a handle is left");
        }
        return verdict;
    }

    void say(const std::string& text) const {
        ++progress->wrong;
        std::printf("%s: allocation %lu fails %s: %s\n", name.c_str(), progress->number,
                    nameOfWay[progress->way], text.c_str());
    }

    /// Sweeps from where `progress` stands.
    void sweep(unsigned long step, unsigned long count, const Verdict& expected) const {
        for (; progress->way != ways; ++progress->way) {
            for (; progress->number <= count; progress->number += step) {
                ++progress->runs;
                const Verdict verdict = run(progress->number, progress->way);
                for (const std::string& type : verdict.turnedAgainst(expected)) {
                    say(type + " turned");
                }
            }
            progress->number = 1;
        }
    }
};

/// The functions of this program by their addresses, which are those in its file.
std::map<unsigned long, std::string> functionsOf(const std::string& program) {
    std::map<unsigned long, std::string> names;
    FILE* pipe = ::popen(("nm -C --defined-only '" + program + "'").c_str(), "r");
    char* line = nullptr;
    std::size_t size = 0;
    while (pipe != nullptr && ::getline(&line, &size, pipe) > 0) {
        char* name = nullptr;
        const unsigned long address = std::strtoul(line, &name, 16);
        names[address] = name;
    }
    std::free(line);
    if (pipe != nullptr) {
        ::pclose(pipe);
    }
    return names;
}

/// Whether std::terminate was called from the destructor of a JSON value.
bool isJSONDestructor(const std::map<unsigned long, std::string>& functions) {
    Dl_info program;
    ::dladdr(reinterpret_cast<const void*>(&isJSONDestructor), &program);
    for (int frame = 0; frame < progress->depth; ++frame) {
        const auto* address =
            static_cast<const char*>(progress->stack.at(static_cast<std::size_t>(frame)));
        const auto next = functions.upper_bound(
            static_cast<unsigned long>(address - static_cast<const char*>(program.dli_fbase)));
        if (next != functions.begin() &&
            std::prev(next)->second.find("::~basic_json()") != std::string::npos) {
            return true;
        }
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const unsigned long step = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 1;
    if (step == 0) {
        return EXIT_FAILURE;
    }
    const auto functions = functionsOf(std::filesystem::canonical("/proc/self/exe"));
    void* frames[2];
    ::backtrace(frames, 2); // loads what it needs
    void* shared = ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                          MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        return EXIT_FAILURE;
    }
    progress = new (shared) Progress{};
    std::set_terminate(noteStack);

    unsigned long destructors = 0;
    for (const auto& [requestName, request] : exampleDocuments("Requests")) {
        for (const auto& [machineName, machine] : sweptMachines()) {
            const Pair pair{requestName + " on " + machineName, request, machine};
            progress->number = 1;
            progress->way = oneFails;
            static_cast<void>(pair.run(never, oneFails)); // what is made once, is made now
            const Verdict expected = pair.run(never, oneFails);
            const unsigned long count = progress->count;
            while (progress->way != ways) {
                std::fflush(stdout);
                progress->depth = 0;
                const pid_t child = ::fork();
                if (child == 0) {
                    pair.sweep(step, count, expected);
                    std::fflush(stdout);
                    ::_exit(0);
                }
                int status = 0;
                if (child == -1 || ::waitpid(child, &status, 0) != child) {
                    return EXIT_FAILURE;
                }
                if (status == 0) {
                    break;
                }
                if (isJSONDestructor(functions)) {
                    ++destructors;
                } else {
                    pair.say("crashed with wait status " + std::to_string(status));
                }
                progress->number += step;
            }
        }
    }
    std::printf("%lu runs, %lu ended in the destructor of a JSON value, %lu wrong\n",
                progress->runs, destructors, progress->wrong);
    return progress->wrong == 0 && progress->runs > 1000 ? EXIT_SUCCESS : EXIT_FAILURE;
}
