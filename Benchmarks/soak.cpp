// SPDX-License-Identifier: Apache-2.0

// Runs requests with all check types from several threads for a while, on this machine, and says
// whether the process then holds more than after its first requests.
//
//     vel_soak [SECONDS]      (default: 60)
//
// Each thread asks for a running program of its own, signed by a unit of its own, and must be told
// of that unit alone. Exit status: 0 nothing is left behind and every answer was right, else 1.

#include "Tests/Support/CertificateWorkshop.h"
#include "vel_device_trust/vel_device_trust.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <malloc.h>
#include <memory>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int threadCount = 4;
constexpr int firstRequests = 10;
// A tool's time-out keeps what belongs to its run until it is due, 10 seconds after the start.
constexpr std::chrono::milliseconds settlingTime(10'500);
// What an allocator may keep for a thread that has ended, and pages that it has not given back.
constexpr std::size_t heapTolerance = std::size_t{64} << 10U;
constexpr std::size_t residentTolerance = std::size_t{1} << 20U;

std::string base64(const std::string& path) {
    std::ifstream file(path);
    std::string text;
    for (std::string line; std::getline(file, line);) {
        text += line.starts_with("-----") ? "" : line;
    }
    return text;
}

pid_t spawn(std::vector<std::string> command) {
    std::vector<char*> words;
    for (std::string& word : command) {
        words.push_back(word.data());
    }
    words.push_back(nullptr);
    pid_t process = 0;
    if (::posix_spawnp(&process, words.front(), nullptr, nullptr, words.data(), environ) != 0) {
        throw std::runtime_error("cannot run " + command.front());
    }
    return process;
}

/// A program that runs for as long as this object lives, signed by `unit`.
class SignedAgent {
public:
    SignedAgent(const std::string& folder, std::string name, std::string unit)
        : _name(std::move(name)), _unit(std::move(unit)) {
        _workshop.make({.name = "signer",
                        .subject = "/CN=Agent/OU=" + _unit + "/O=Sample",
                        .extensions = leafExtensions});
        const std::string path = folder + "/" + _name;
        fs::copy_file("/bin/sleep", path);
        const std::string certificate = _workshop.certificateFile("signer");
        int status = 0;
        ::waitpid(spawn({"openssl", "cms", "-sign", "-binary", "-in", path, "-signer", certificate,
                         "-inkey", _workshop.keyFile("signer"), "-outform", "DER", "-out",
                         path + ".p7s"}),
                  &status, 0);
        if (status != 0) {
            throw std::runtime_error("openssl cannot sign " + path);
        }
        _process = spawn({path, "86400"});
    }
    SignedAgent(const SignedAgent&) = delete;
    SignedAgent& operator=(const SignedAgent&) = delete;

    ~SignedAgent() {
        ::kill(_process, SIGKILL);
        ::waitpid(_process, nullptr, 0);
    }

    [[nodiscard]] const std::string& name() const { return _name; }
    [[nodiscard]] const std::string& unit() const { return _unit; }
    [[nodiscard]] std::string certificate() const {
        return base64(_workshop.certificateFile("signer"));
    }

private:
    CertificateWorkshop _workshop;
    std::string _name;
    std::string _unit;
    pid_t _process = 0;
};

/// What the process holds of the machine.
struct Holdings {
    std::ptrdiff_t descriptors = 0;
    std::ptrdiff_t threads = 0;
    std::ptrdiff_t children = 0;
    std::size_t heap = 0;
    std::size_t resident = 0;

    static Holdings now() {
        Holdings holdings;
        holdings.descriptors = std::distance(fs::directory_iterator("/proc/self/fd"), {});
        for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
            ++holdings.threads;
            std::ifstream children(thread.path() / "children");
            holdings.children += std::distance(std::istream_iterator<pid_t>(children), {});
        }
        ::malloc_trim(0);
        const auto memory = ::mallinfo2();
        holdings.heap = memory.uordblks + memory.hblkhd;
        std::ifstream pages("/proc/self/statm");
        std::size_t size = 0;
        pages >> size >> holdings.resident;
        holdings.resident *= static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
        return holdings;
    }

    void print(const char* when, int requests) const {
        std::printf("%-22s %7d requests %4td descriptors %3td threads %3td children "
                    "%6zu KiB heap %6zu KiB resident\n",
                    when, requests, descriptors, threads, children, heap / 1024, resident / 1024);
        std::fflush(stdout);
    }
};

/// Asks for all checks again and again, and compares what it is told with the first answer.
class Asker {
public:
    Asker(const SignedAgent& agent, const SignedAgent& other)
        : _agent(agent), _request(request(agent, agent.unit())),
          _wrongRequest(request(agent, other.unit())) {}

    void run(const VELPostureCheckRunner& runner) {
        verify(runner, _request, _first, VELValue({{"pass", true}}));
        verify(runner, _wrongRequest, _wrongFirst,
               VELValue({{"error", "Process \"" + _agent.name() +
                                       "\" was found on the system, but it had an incorrect code "
                                       "signing certificate (" +
                                       _agent.unit() + ")."}}));
    }

    [[nodiscard]] int requests() const { return _requests; }
    [[nodiscard]] int faults() const { return _faults; }

private:
    static constexpr std::size_t processEntry = 4;

    static std::string request(const SignedAgent& agent, const std::string& unit) {
        return VELValue{
            {"mac",
             {{{"type", "localFirewall"}},
              {{"type", "fullDiskEncryption"}},
              {{"type", "certificatePresent"}, {"sha1", std::string(40, '0')}},
              {{"type", "minimumOSVersion"}, {"version", "1.0"}},
              {{"type", "anyProcessRunning"},
               {"processes", {{{"name", agent.name()}, {"signingCertificateSubjectOU", unit}}}}},
              {{"type", "joinedToDomain"}, {"names", {"*.sample.test"}}},
              {{"type", "perDeviceCertificatePresent"}, {"cert", agent.certificate()}}}}}
            .dump();
    }

    void verify(const VELPostureCheckRunner& runner, const std::string& request, VELValue& first,
                const VELValue& expectedProcessEntry) {
        VELValue result = VELValue::parse(runner.runPostureCheckFromDocumentString(request));
        ++_requests;
        result.erase("metrics");
        if (first.is_null()) {
            first = result;
        }
        bool isRight = result == first;
        for (const auto& [key, value] : expectedProcessEntry.items()) {
            isRight =
                isRight && result.at("checks").at(processEntry).value(key, VELValue()) == value;
        }
        if (!isRight && ++_faults == 1) {
            std::cerr << "vel_soak: a wrong answer: " << result << "\n  the first was: " << first
                      << '\n';
        }
    }

    const SignedAgent& _agent;
    std::string _request;
    std::string _wrongRequest;
    VELValue _first;
    VELValue _wrongFirst;
    int _requests = 0;
    int _faults = 0;
};

using Askers = std::vector<std::unique_ptr<Asker>>;

/// Lets all ask at once, each in a thread of its own, for as long as `goesOn` answers yes to the
/// number of rounds that it has asked.
template <typename GoesOn>
void askAtOnce(const VELPostureCheckRunner& runner, const Askers& askers, GoesOn goesOn) {
    std::vector<std::thread> threads;
    for (const auto& asker : askers) {
        threads.emplace_back([&runner, &asker, goesOn] {
            for (int round = 0; goesOn(round); ++round) {
                asker->run(runner);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::this_thread::sleep_for(settlingTime);
}

int sum(const Askers& askers, int (Asker::*count)() const) {
    int total = 0;
    for (const auto& asker : askers) {
        total += (asker.get()->*count)();
    }
    return total;
}

bool holdsNoMore(const Holdings& before, const Holdings& after) {
    return after.descriptors <= before.descriptors && after.threads <= before.threads &&
           after.children <= before.children && after.heap <= before.heap + heapTolerance &&
           after.resident <= before.resident + residentTolerance;
}

int soak(std::chrono::seconds duration) {
    const TemporaryFolder folder;
    std::vector<std::unique_ptr<SignedAgent>> agents;
    for (int index = 0; index < threadCount; ++index) {
        const std::string number = std::to_string(index);
        agents.push_back(
            std::make_unique<SignedAgent>(folder.path(), "soak-agent-" + number, "TEAM" + number));
    }
    Askers askers;
    for (std::size_t index = 0; index < agents.size(); ++index) {
        askers.push_back(
            std::make_unique<Asker>(*agents[index], *agents[(index + 1) % agents.size()]));
    }
    const auto runner = VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    Holdings::now().print("at the start", 0);

    askAtOnce(*runner, askers, [](int round) { return round < firstRequests; });
    const Holdings before = Holdings::now();
    before.print("after first requests", sum(askers, &Asker::requests));

    const auto end = Clock::now() + duration;
    askAtOnce(*runner, askers, [end](int) { return Clock::now() < end; });
    const Holdings after = Holdings::now();
    after.print("at the end", sum(askers, &Asker::requests));

    const int faults = sum(askers, &Asker::faults);
    const bool isClean = faults == 0 && holdsNoMore(before, after);
    std::printf("%d wrong answers; %s\n", faults,
                isClean ? "nothing is left behind" : "NOT as after the first requests");
    return isClean ? 0 : 1;
}

} // namespace

int main(int argumentCount, char** arguments) {
    const int seconds = argumentCount > 1 ? std::atoi(arguments[1]) : 60;
    if (argumentCount > 2 || seconds <= 0) {
        std::cerr << "usage: vel_soak [SECONDS]\n";
        return 2;
    }
    // One arena, because the allocator gives back the room of that one alone.
    ::mallopt(M_ARENA_MAX, 1);
    try {
        return soak(std::chrono::seconds(seconds));
    } catch (const std::exception& failure) {
        std::cerr << "vel_soak: " << failure.what() << '\n';
        return 1;
    }
}
