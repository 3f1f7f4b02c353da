// SPDX-License-Identifier: Apache-2.0

// Runs requests from several threads for a while, and says whether an answer was wrong and whether
// the process then holds more than after its first requests.
//
//     vel_soak [SECONDS]      (default: 60)
//
// Each thread asks this machine for all check types, and for a running program of its own that is
// signed by a unit of its own; and described Macs for the requests of Examples/. The helper
// programs beside vel_soak hang, fail or flood now and then (faulty-helper.in): an entry may fail
// for that, and none may pass that does not pass otherwise. Loggers are replaced all the time.
//
// Exit status: 0 nothing is left behind and every answer was right, else 1.

#include "Tests/Support/CertificateWorkshop.h"
#include "Tests/Support/SweepSet.h"
#include "vel_device_trust_described/vel_device_trust_described.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <barrier>
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

constexpr int threadCount = 8;
constexpr int describedRequestsPerRound = 12;
constexpr std::size_t processEntry = 4;
// What is allocated once is there after it.
constexpr std::chrono::seconds firstPhase(60);
constexpr std::chrono::milliseconds loggerLifetime(1);
const fs::path helperFaultsFile = VEL_SOAK_DIRECTORY "/faults";
const fs::path signersFolder = VEL_SOAK_DIRECTORY "/signers";
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
        fs::copy_file(certificate, signersFolder / (_name + ".pem"));
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

/// What was asked, and how it was answered.
struct Counts {
    int live = 0;
    int described = 0;
    int failed = 0; ///< entries of this machine that a faulty helper can explain
    int wrong = 0;

    Counts& operator+=(const Counts& other) {
        live += other.live;
        described += other.described;
        failed += other.failed;
        wrong += other.wrong;
        return *this;
    }
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

    void print(const char* when, const Counts& counts) const {
        std::printf("%-22s %7d requests here %8d described %4td descriptors %3td threads "
                    "%3td children %6zu KiB heap %6zu KiB resident\n",
                    when, counts.live, counts.described, descriptors, threads, children,
                    heap / 1024, resident / 1024);
        std::fflush(stdout);
    }
};

std::string answerOf(const VELPostureCheckRunner& runner, const std::string& request) {
    VELValue result = VELValue::parse(runner.runPostureCheckFromDocumentString(request));
    result.erase("metrics");
    return result.dump();
}

/// A question, and the answer to it when nothing fails.
struct Question {
    std::shared_ptr<const VELPostureCheckRunner> runner;
    std::string request;
    std::string answer;
};

/// This machine's answer: two in a row that agree, so that no faulty helper had a part in them.
Question liveQuestion(const std::shared_ptr<const VELPostureCheckRunner>& runner,
                      const std::string& request) {
    std::string answer = answerOf(*runner, request);
    for (std::string next; (next = answerOf(*runner, request)) != answer;) {
        answer = next;
    }
    return {runner, request, answer};
}

std::vector<Question> describedQuestions() {
    std::vector<Question> questions;
    for (const auto& [name, machine] : sweptMachines()) {
        const std::shared_ptr<const VELPostureCheckRunner> runner =
            describedMacPostureCheckRunner(machine, nullptr, nullptr);
        for (const auto& [file, request] : exampleDocuments("Requests")) {
            questions.push_back({runner, request, answerOf(*runner, request)});
        }
    }
    return questions;
}

std::string allChecks(const SignedAgent& agent, const std::string& unit) {
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

/// Asks its questions again and again.
class Asker {
public:
    Asker(std::vector<Question> live, std::vector<Question> described, std::size_t offset)
        : _live(std::move(live)), _described(std::move(described)), _next(offset) {}

    void askRound() {
        for (const Question& question : _live) {
            const std::string answer = answerOf(*question.runner, question.request);
            ++_counts.live;
            if (answer != question.answer) {
                verifyFailure(question, answer);
            }
        }
        for (int count = 0; count < describedRequestsPerRound; ++count) {
            const Question& question = _described[_next++ % _described.size()];
            const std::string answer = answerOf(*question.runner, question.request);
            ++_counts.described;
            if (answer != question.answer) {
                report(question, answer);
            }
        }
    }

    [[nodiscard]] const Counts& counts() const { return _counts; }

private:
    void verifyFailure(const Question& question, const std::string& answer) {
        if (!Verdict(answer).turnedAgainst(Verdict(question.answer)).empty()) {
            report(question, answer);
            return;
        }
        const VELValue checks = VELValue::parse(answer).at("checks");
        const VELValue right = VELValue::parse(question.answer).at("checks");
        for (std::size_t entry = 0; entry < right.size(); ++entry) {
            _counts.failed += checks.at(entry) != right.at(entry) ? 1 : 0;
        }
    }

    void report(const Question& question, const std::string& answer) {
        if (++_counts.wrong == 1) {
            std::cerr << "vel_soak: a wrong answer: " << answer
                      << "\n  the right one: " << question.answer << '\n';
        }
    }

    std::vector<Question> _live;
    std::vector<Question> _described;
    std::size_t _next;
    Counts _counts;
};

/// Counts the messages that come while it is the logger.
class CountingLogger : public VELHostLogger {
public:
    explicit CountingLogger(std::atomic<std::uint64_t>& messages) : _messages(messages) {}

    void logMessage(std::string_view, std::int64_t, const char*, const char*,
                    std::int32_t) noexcept override {
        ++_messages;
    }

private:
    std::atomic<std::uint64_t>& _messages;
};

/// The askers, each in a thread of its own.
class Crowd {
public:
    explicit Crowd(std::vector<Asker>& askers)
        : _meeting(static_cast<std::ptrdiff_t>(askers.size()) + 1) {
        for (Asker& asker : askers) {
            _threads.emplace_back([this, &asker] {
                while (_meeting.arrive_and_wait(), _isAsking) {
                    while (Clock::now() < _end) {
                        asker.askRound();
                    }
                    _meeting.arrive_and_wait();
                }
            });
        }
    }

    /// Lets all ask at once, while the loggers are replaced.
    void ask(std::chrono::seconds duration, std::atomic<std::uint64_t>& messages) {
        _end = Clock::now() + duration;
        _meeting.arrive_and_wait();
        while (Clock::now() < _end) {
            const VELPostureCheckRunner bringsLogger("mac", {},
                                                     std::make_shared<CountingLogger>(messages));
            std::this_thread::sleep_for(loggerLifetime);
        }
        _meeting.arrive_and_wait();
        const VELPostureCheckRunner bringsNoLogger("mac", {}, nullptr);
        std::this_thread::sleep_for(settlingTime);
    }

    ~Crowd() {
        _isAsking = false;
        _meeting.arrive_and_wait();
        for (std::thread& thread : _threads) {
            thread.join();
        }
    }

private:
    std::barrier<> _meeting;
    Clock::time_point _end;
    bool _isAsking = true;
    std::vector<std::thread> _threads;
};

Counts sum(const std::vector<Asker>& askers) {
    Counts counts;
    for (const Asker& asker : askers) {
        counts += asker.counts();
    }
    return counts;
}

/// How often a helper program was faulty: each time adds a byte to a file.
std::uintmax_t helperFaults() {
    std::error_code absent;
    const auto size = fs::file_size(helperFaultsFile, absent);
    return absent ? 0 : size;
}

bool holdsNoMore(const Holdings& before, const Holdings& after) {
    return after.descriptors <= before.descriptors && after.threads <= before.threads &&
           after.children <= before.children && after.heap <= before.heap + heapTolerance &&
           after.resident <= before.resident + residentTolerance;
}

int soak(std::chrono::seconds duration) {
    const TemporaryFolder folder;
    fs::remove_all(signersFolder);
    fs::create_directory(signersFolder);
    std::vector<std::unique_ptr<SignedAgent>> agents;
    for (int index = 0; index < threadCount; ++index) {
        const std::string number = std::to_string(index);
        agents.push_back(
            std::make_unique<SignedAgent>(folder.path(), "soak-agent-" + number, "TEAM" + number));
    }
    const std::shared_ptr<const VELPostureCheckRunner> runner =
        VELPostureCheckRunner::macPostureCheckRunner(nullptr);
    const auto described = describedQuestions();
    std::vector<Asker> askers;
    for (std::size_t index = 0; index < agents.size(); ++index) {
        const SignedAgent& agent = *agents[index];
        const SignedAgent& other = *agents[(index + 1) % agents.size()];
        std::vector live = {liveQuestion(runner, allChecks(agent, agent.unit())),
                            liveQuestion(runner, allChecks(agent, other.unit()))};
        // The agent runs and is signed by its own unit alone.
        for (std::size_t question = 0; question < live.size(); ++question) {
            const auto checks = VELValue::parse(live[question].answer).at("checks");
            if (checks.at(processEntry).value("pass", false) != (question == 0)) {
                throw std::runtime_error("a wrong answer at the start: " + live[question].answer);
            }
        }
        askers.emplace_back(std::move(live), described, index * 7);
    }

    fs::remove(helperFaultsFile);
    std::atomic<std::uint64_t> messages = 0;
    Crowd crowd(askers);
    Holdings::now().print("at the start", {});
    crowd.ask(std::min(duration / 4, firstPhase), messages);
    const Holdings before = Holdings::now();
    before.print("after the first phase", sum(askers));

    crowd.ask(duration - std::min(duration / 4, firstPhase), messages);
    const Holdings after = Holdings::now();
    const Counts counts = sum(askers);
    after.print("at the end", counts);

    const auto faults = helperFaults();
    std::printf("%ju faults of helper programs, %d entries failed for them; %ju log messages\n",
                faults, counts.failed, std::uintmax_t{messages});
    const bool isExplained = static_cast<std::uintmax_t>(counts.failed) <= faults;
    const bool isClean = counts.wrong == 0 && isExplained && holdsNoMore(before, after);
    std::printf("%d wrong answers%s; %s\n", counts.wrong,
                isExplained ? "" : ", and entries that failed for no fault",
                isClean ? "nothing is left behind" : "NOT as after the first phase");
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
